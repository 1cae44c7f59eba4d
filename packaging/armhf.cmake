# Toolchain for a 32-bit ARM phone with Debian's cross compiler, an example to start from:
#   apt-get install g++-arm-linux-gnueabihf
#   cmake --preset package -DCMAKE_TOOLCHAIN_FILE=packaging/armhf.cmake -DSYSROOT=DIRECTORY
set(CMAKE_SYSTEM_PROCESSOR arm)
set(triplet arm-linux-gnueabihf)
include(${CMAKE_CURRENT_LIST_DIR}/cross.cmake)
# Nothing is linked with what a GCC before 7.1 has compiled.
set(CMAKE_CXX_FLAGS_INIT -Wno-psabi)

# For cpack -G DEB.
set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE armhf CACHE STRING "Debian's name of the device")
