# Windows from Linux with the distribution's mingw-w64; the two toolchain files beside this one set
# CMAKE_SYSTEM_PROCESSOR and include it.
set(CMAKE_SYSTEM_NAME Windows)
set(targetTriple ${CMAKE_SYSTEM_PROCESSOR}-w64-mingw32)
set(CMAKE_C_COMPILER ${targetTriple}-gcc-posix)
set(CMAKE_CXX_COMPILER ${targetTriple}-g++-posix)
set(CMAKE_RC_COMPILER ${targetTriple}-windres)
# Packages of the target are looked for where it keeps its own, and where the user says.
set(CMAKE_FIND_ROOT_PATH /usr/${targetTriple} ${CMAKE_PREFIX_PATH})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# No DLL besides the system's is needed at run time.
set(CMAKE_EXE_LINKER_FLAGS_INIT "-static")
set(CMAKE_SHARED_LINKER_FLAGS_INIT "-static")
