# Installs the library (component runtime), what programs are compiled with (development) and the
# guides and examples (documentation).
include(CMakePackageConfigHelpers)
include(GNUInstallDirs)

set(packageDirectory "${CMAKE_INSTALL_LIBDIR}/cmake/Sorvex")

set(installedTargets sorvex)
if(TARGET sorvex_frames)
    list(APPEND installedTargets sorvex_frames)
endif()
install(TARGETS ${installedTargets} EXPORT SorvexTargets
    RUNTIME DESTINATION "${CMAKE_INSTALL_BINDIR}" COMPONENT runtime
    LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}" COMPONENT runtime
        NAMELINK_COMPONENT development
    ARCHIVE DESTINATION "${CMAKE_INSTALL_LIBDIR}" COMPONENT development
    FILE_SET HEADERS DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}" COMPONENT development)
install(EXPORT SorvexTargets NAMESPACE Sorvex:: DESTINATION "${packageDirectory}"
    COMPONENT development)

configure_package_config_file(cmake/SorvexConfig.cmake.in SorvexConfig.cmake
    INSTALL_DESTINATION "${packageDirectory}")
write_basic_package_version_file(SorvexConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES
    "${PROJECT_BINARY_DIR}/SorvexConfig.cmake" "${PROJECT_BINARY_DIR}/SorvexConfigVersion.cmake"
    DESTINATION "${packageDirectory}" COMPONENT development)

# The prefix is told from the place of the file, so that an installed tree can be moved.
file(RELATIVE_PATH pkgConfigPrefix
    "/prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/prefix")
set(pkgConfigDefinitions "")
if(NOT BUILD_SHARED_LIBS)
    set(pkgConfigDefinitions " -DSORVEX_STATIC")
endif()
set(pkgConfigFrames "")
if(TARGET sorvex_frames)
    set(pkgConfigFrames " -Wl,--undefined=_sorvexShareFrames -lsorvex_frames")
endif()
list(TRANSFORM sorvexHostLibraries PREPEND "-l" OUTPUT_VARIABLE pkgConfigHostLibraries)
list(JOIN pkgConfigHostLibraries " " pkgConfigHostLibraries)
configure_file(cmake/sorvex.pc.in sorvex.pc @ONLY)
install(FILES "${PROJECT_BINARY_DIR}/sorvex.pc" DESTINATION "${CMAKE_INSTALL_LIBDIR}/pkgconfig"
    COMPONENT development)

set(documentDirectory "${CMAKE_INSTALL_DATAROOTDIR}/doc/sorvex")
install(FILES README.md CHANGELOG.md DESTINATION "${documentDirectory}" COMPONENT documentation)
install(DIRECTORY docs DESTINATION "${documentDirectory}" COMPONENT documentation
    FILES_MATCHING PATTERN "*.md" PATTERN site EXCLUDE)
install(DIRECTORY examples DESTINATION "${documentDirectory}" COMPONENT documentation
    PATTERN CMakeLists.txt EXCLUDE)
# The site is there once scripts/site has made it.
install(DIRECTORY build/site/ DESTINATION "${documentDirectory}/html" COMPONENT documentation
    OPTIONAL)
install(FILES cmake/examples.cmake DESTINATION "${documentDirectory}/examples"
    COMPONENT documentation RENAME CMakeLists.txt)
