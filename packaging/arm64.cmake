# Toolchain for a 64-bit ARM phone, like armhf.cmake; the compiler is g++-aarch64-linux-gnu.
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(triplet aarch64-linux-gnu)
include(${CMAKE_CURRENT_LIST_DIR}/cross.cmake)

# For cpack -G DEB.
set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE arm64 CACHE STRING "Debian's name of the device")
