# What Debian's cross compilers have in common; a toolchain file sets "triplet" and includes it.
# SYSROOT is the device's root directory with the development files of its Qt and its platform.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_C_COMPILER ${triplet}-gcc)
set(CMAKE_CXX_COMPILER ${triplet}-g++)
set(CMAKE_LIBRARY_ARCHITECTURE ${triplet})

# Also for the small projects with which CMake tries the compiler.
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES SYSROOT)
if(SYSROOT)
    set(CMAKE_SYSROOT ${SYSROOT})
    set(CMAKE_FIND_ROOT_PATH ${SYSROOT})
endif()
# Programs are the build machine's, everything else is the device's.
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE BOTH)

set(CMAKE_PROJECT_INCLUDE ${CMAKE_CURRENT_LIST_DIR}/host-qt-tools.cmake)
