# SPDX-License-Identifier: Apache-2.0
# What a person may choose, and what holds for every target of the tree.
include(CTest)
include(GNUInstallDirs)
find_package(PkgConfig REQUIRED)

option(NAVO_WERROR "Treat compiler warnings as errors" OFF)
set(NAVO_SANITIZE "" CACHE STRING "Value for -fsanitize=, for example address,undefined")
option(NAVO_COVERAGE "Count which lines of the service run" OFF)
option(NAVO_WHOLE_PROGRAMS "Make each program of unit tests one test" OFF)
option(NAVO_FUZZ "Build the fuzz targets with libFuzzer (Clang)" OFF)
set(NAVO_TEST_FLAGS "-O0 -g1" CACHE STRING "The tests' own flags, in place of the build type's")
option(NAVO_BENCH "Build the measuring programs (needs BUILD_TESTING)" OFF)
set(NAVO_PLATFORM "" CACHE STRING "tizen, virtual, or empty to decide by the modules that pkg-config finds")
set_property(CACHE NAVO_PLATFORM PROPERTY STRINGS "" tizen virtual)

set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
if(NOT CMAKE_CXX_STANDARD)
  set(CMAKE_CXX_STANDARD 17)
endif()
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY "${CMAKE_BINARY_DIR}/bin")

add_compile_options(-Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor -Woverloaded-virtual -Wformat=2 -Wundef)
if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
  add_compile_options(-Wthread-safety)
endif()
if(NAVO_WERROR)
  add_compile_options(-Werror)
endif()

# No object carries the place of its tree: another checkout of the same sources has the same objects, and every report
# names a source as this tree does. A compiler that is called by way of a cache gets relative paths.
file(RELATIVE_PATH source_from_binary "${CMAKE_BINARY_DIR}" "${CMAKE_SOURCE_DIR}")
add_compile_options("-ffile-prefix-map=${CMAKE_SOURCE_DIR}/=" "-ffile-prefix-map=${source_from_binary}="
                    "-ffile-prefix-map=${CMAKE_BINARY_DIR}=.")

if(NAVO_SANITIZE)
  add_compile_options(-fsanitize=${NAVO_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
  add_link_options(-fsanitize=${NAVO_SANITIZE})
endif()
