# Linux on another processor: Clang with the distribution's C and C++ libraries and linker for it, and
# programs run under the user-mode emulator. The toolchain files beside this one set
# CMAKE_SYSTEM_PROCESSOR and include it.
set(CMAKE_SYSTEM_NAME Linux)
set(targetTriple ${CMAKE_SYSTEM_PROCESSOR}-linux-gnu)
set(CMAKE_CXX_COMPILER clang++)
set(CMAKE_CXX_COMPILER_TARGET ${targetTriple})
set(CMAKE_C_COMPILER clang)
set(CMAKE_C_COMPILER_TARGET ${targetTriple})
set(CMAKE_LIBRARY_ARCHITECTURE ${targetTriple})
set(CMAKE_FIND_ROOT_PATH /usr/${targetTriple})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-${CMAKE_SYSTEM_PROCESSOR} -L /usr/${targetTriple})
