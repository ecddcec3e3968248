# SPDX-License-Identifier: Apache-2.0
# What is built to ship is hardened by its own target, whatever preset or build type it comes from. Tests are not.
#
# navo_harden(TARGET...) adds, as far as the compiler knows them:
#   stack-protector-strong, stack-clash-protection   a stack that is overrun or jumped over ends the process
#   cf-protection          indirect calls arrive where a function begins (x86)
#   _GLIBCXX_ASSERTIONS    the standard library checks what it can check cheaply
#   _FORTIFY_SOURCE        so does the C library, where the compiler knows a buffer's size; optimised builds only
#   PIE, relro, now        addresses are random, and tables read-only once the program has started
# Sanitizers bring checks of their own, and get in each other's way with these.
include(CheckCXXCompilerFlag)
include(CheckCXXSourceCompiles)

set(NAVO_HARDENING_OPTIONS -D_GLIBCXX_ASSERTIONS)
foreach(feature stack-protector-strong stack-clash-protection cf-protection)
  string(MAKE_C_IDENTIFIER "NAVO_HAVE_${feature}" known)
  check_cxx_compiler_flag(-f${feature} ${known})
  if(${known})
    list(APPEND NAVO_HARDENING_OPTIONS -f${feature})
  endif()
endforeach()

# The third level wants to know sizes that only the running program has.
check_cxx_source_compiles("
  #ifndef __has_builtin
  #error unknown
  #elif !__has_builtin(__builtin_dynamic_object_size)
  #error unknown
  #endif
  int main() { return 0; }"
  NAVO_HAVE_DYNAMIC_OBJECT_SIZE)
set(NAVO_FORTIFY_LEVEL 2)
if(NAVO_HAVE_DYNAMIC_OBJECT_SIZE)
  set(NAVO_FORTIFY_LEVEL 3)
endif()
foreach(type Release RelWithDebInfo MinSizeRel)
  list(APPEND NAVO_HARDENING_OPTIONS "$<$<CONFIG:${type}>:-U_FORTIFY_SOURCE>"
       "$<$<CONFIG:${type}>:-D_FORTIFY_SOURCE=${NAVO_FORTIFY_LEVEL}>")
endforeach()

function(navo_harden)
  if(NAVO_SANITIZE)
    return()
  endif()
  foreach(target ${ARGN})
    target_compile_options(${target} PRIVATE ${NAVO_HARDENING_OPTIONS})
    get_target_property(type ${target} TYPE)
    get_target_property(independent ${target} POSITION_INDEPENDENT_CODE)
    if(type STREQUAL "EXECUTABLE")
      set_target_properties(${target} PROPERTIES POSITION_INDEPENDENT_CODE ON)
      set_property(TARGET ${target} APPEND_STRING PROPERTY LINK_FLAGS " -pie -Wl,-z,relro,-z,now")
    elseif(type MATCHES "^(MODULE|SHARED)_LIBRARY$")
      set_property(TARGET ${target} APPEND_STRING PROPERTY LINK_FLAGS " -Wl,-z,relro,-z,now")
    elseif(NOT independent)
      target_compile_options(${target} PRIVATE -fPIE)
    endif()
  endforeach()
endfunction()
