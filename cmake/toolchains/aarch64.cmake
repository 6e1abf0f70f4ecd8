# aarch64 Linux (packages libstdc++-12-dev-arm64-cross and binutils-aarch64-linux-gnu).
set(CMAKE_SYSTEM_PROCESSOR aarch64)
include("${CMAKE_CURRENT_LIST_DIR}/cross.cmake")
