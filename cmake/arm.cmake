# SPDX-License-Identifier: Apache-2.0
# A build for 32-bit ARM with floating point in hardware, by Debian's cross compiler, with libraries that
# script/bootstrap arm unpacked below the build tree.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR armv7l)
set(CMAKE_CXX_COMPILER arm-linux-gnueabihf-g++)

set(libraries "${CMAKE_CURRENT_LIST_DIR}/../build/armhf")
get_filename_component(libraries "${libraries}" ABSOLUTE)
set(CMAKE_CXX_FLAGS_INIT "-isystem ${libraries}/usr/include/arm-linux-gnueabihf")
set(CMAKE_LIBRARY_ARCHITECTURE arm-linux-gnueabihf)
set(CMAKE_FIND_ROOT_PATH "${libraries}")

# Where the linker finds what the libraries themselves need.
set(CMAKE_EXE_LINKER_FLAGS_INIT
    "-Wl,-rpath-link,${libraries}/lib/arm-linux-gnueabihf:${libraries}/usr/lib/arm-linux-gnueabihf")
