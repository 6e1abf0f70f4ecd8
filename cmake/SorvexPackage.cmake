# The Debian packages, one for each component, and a tarball with all of them.
set(CPACK_PACKAGE_NAME sorvex)
set(CPACK_PACKAGE_CONTACT "Sorvex maintainers <maintainers@sorvex.example>")
set(CPACK_PACKAGE_VENDOR Sorvex)
set(CPACK_PACKAGE_DIRECTORY "${PROJECT_BINARY_DIR}/packages")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_PRE_BUILD_SCRIPTS "${CMAKE_CURRENT_LIST_DIR}/compress_pages.cmake")
set(CPACK_COMPONENTS_ALL runtime development tools documentation)
set(CPACK_GENERATOR DEB)

set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# The dynamic linker learns of the library by a trigger, as Debian wants it.
file(WRITE "${PROJECT_BINARY_DIR}/triggers" "activate-noawait ldconfig\n")
file(WRITE "${PROJECT_BINARY_DIR}/shlibs"
    "libsorvex ${PROJECT_VERSION_MAJOR} libsorvex${PROJECT_VERSION_MAJOR} (>= ${PROJECT_VERSION})\n")
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA
    "${PROJECT_BINARY_DIR}/triggers;${PROJECT_BINARY_DIR}/shlibs")
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)

# sorvex_package(component name section summary text)
#
# The package of a component: the first line of its description, and the lines behind it.
macro(sorvex_package component name section summary text)
    string(TOUPPER ${component} key)
    set(CPACK_DEBIAN_${key}_PACKAGE_NAME ${name})
    set(CPACK_DEBIAN_${key}_PACKAGE_SECTION ${section})
    set(CPACK_DEBIAN_${key}_DESCRIPTION "${summary}\n${text}")
endmacro()

set(libraryPackage libsorvex${PROJECT_VERSION_MAJOR})
string(CONCAT about
    "Sorvex gives programs text, dates, streams, paths, files, directories,\n"
    "threads, events, services and message catalogues through plain C++\n"
    "classes, with the interface of 32-bit Windows.")
sorvex_package(runtime ${libraryPackage} libs "operating-system abstraction library"
    "${about}")
sorvex_package(development libsorvex-dev libdevel "operating-system abstraction library (headers)"
    "${about}\n.\nThis package has what programs are compiled with.")
sorvex_package(tools sorvex-tools admin "administration of the services of Sorvex programs"
    "The program sorvex-service lists, installs, starts and stops services\nand shows their logs.")
sorvex_package(documentation sorvex-doc doc "operating-system abstraction library (guides)"
    "${about}\n.\nThis package has the guides and example programs.")
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "${libraryPackage} (= ${PROJECT_VERSION})")
set(CPACK_DEBIAN_DOCUMENTATION_PACKAGE_ARCHITECTURE all)
set(CPACK_DEBIAN_DOCUMENTATION_PACKAGE_SHLIBDEPS OFF)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SHLIBDEPS OFF)

include(CPack)
