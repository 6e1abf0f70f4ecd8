# i386 Linux with the host's own GCC (package g++-multilib).
set(CMAKE_CXX_COMPILER g++)
set(CMAKE_C_FLAGS_INIT -m32)
set(CMAKE_CXX_FLAGS_INIT -m32)
set(CMAKE_LIBRARY_ARCHITECTURE i386-linux-gnu)
