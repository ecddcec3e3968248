# SPDX-License-Identifier: Apache-2.0
# A 32-bit build on a machine of 64 bits, with libraries that script/bootstrap m32 unpacked below the build tree.
set(libraries "${CMAKE_CURRENT_LIST_DIR}/../build/i386")
get_filename_component(libraries "${libraries}" ABSOLUTE)

# The second folder has the headers that differ from one architecture to another.
set(CMAKE_CXX_FLAGS_INIT "-m32 -isystem ${libraries}/usr/include/i386-linux-gnu")
set(CMAKE_LIBRARY_ARCHITECTURE i386-linux-gnu)
set(CMAKE_FIND_ROOT_PATH "${libraries}")

# What a program is linked with is found there again when it runs, also by the libraries themselves.
set(library_paths "-Wl,-rpath,${libraries}/lib/i386-linux-gnu:${libraries}/usr/lib/i386-linux-gnu")
foreach(kind EXE SHARED MODULE)
  set(CMAKE_${kind}_LINKER_FLAGS_INIT "-Wl,--disable-new-dtags ${library_paths}")
endforeach()
