# Windows i686 from Linux (package g++-mingw-w64-i686-posix).
set(CMAKE_SYSTEM_PROCESSOR i686)
include("${CMAKE_CURRENT_LIST_DIR}/mingw.cmake")
