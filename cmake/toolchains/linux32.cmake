# i386 Linux with the host's own GCC (package g++-multilib).
set(CMAKE_CXX_COMPILER g++)
set(CMAKE_C_FLAGS_INIT -m32)
set(CMAKE_CXX_FLAGS_INIT -m32)
set(CMAKE_LIBRARY_ARCHITECTURE i386-linux-gnu)
# A kernel may run no 32-bit programs, of which the loader is one; then the user-mode emulator does.
execute_process(COMMAND /lib/ld-linux.so.2 --version RESULT_VARIABLE result OUTPUT_QUIET ERROR_QUIET)
if(NOT result EQUAL 0)
    set(CMAKE_SYSTEM_NAME Linux)
    set(CMAKE_SYSTEM_PROCESSOR i386)
    set(CMAKE_CROSSCOMPILING_EMULATOR qemu-i386)
endif()
