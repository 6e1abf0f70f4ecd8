# s390x Linux, which is big-endian (packages libstdc++-12-dev-s390x-cross and
# binutils-s390x-linux-gnu).
set(CMAKE_SYSTEM_PROCESSOR s390x)
include("${CMAKE_CURRENT_LIST_DIR}/cross.cmake")
