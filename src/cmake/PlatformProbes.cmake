# SPDX-License-Identifier: Apache-2.0
# Platform releases differ in a few declarations. Each probe asks the headers at hand; Compat.h settles the rest.
include(CheckCXXSourceCompiles)
set(CMAKE_REQUIRED_INCLUDES ${NAVO_PLATFORM_INCLUDE_DIRS} ${NAVO_LIBRARIES_INCLUDE_DIRS})
set(CMAKE_REQUIRED_FLAGS "-std=c++14")
if(NOT CMAKE_VERSION VERSION_LESS 3.6)
  set(CMAKE_TRY_COMPILE_TARGET_TYPE STATIC_LIBRARY) # headers are asked, nothing is linked
endif()

check_cxx_source_compiles("
  #include <nfc.h>
  #include <nfc_internal.h>
  int main() { nfc_se_h handle; return nfc_se_open_secure_element_internal(NFC_SE_TYPE_ESE, &handle); }"
  NAVO_HAVE_NFC_INTERNAL)
check_cxx_source_compiles("
  #include <nfc.h>
  int main() { nfc_se_h handle; return nfc_se_open_secure_element(NFC_SE_TYPE_ESE, &handle); }"
  NAVO_HAVE_NFC_UNSUFFIXED)
check_cxx_source_compiles("
  #include <nfc.h>
  int main() { return nfc_manager_initialize(nullptr, nullptr); }"
  NAVO_HAVE_NFC_INITIALIZE_CALLBACK)
check_cxx_source_compiles("
  #include <system_info.h>
  #include <system_info_internal.h>
  int main() { char* text; return system_info_get_value_string(SYSTEM_INFO_KEY_BUILD_STRING, &text); }"
  NAVO_HAVE_SYSTEM_INFO_INTERNAL)
check_cxx_source_compiles("
  #include <system_info.h>
  int main() { char* text; return system_info_get_value_string(SYSTEM_INFO_KEY_BUILD_STRING, &text); }"
  NAVO_HAVE_SYSTEM_INFO_VALUE)
check_cxx_source_compiles("
  #include <sys/types.h>
  #include <pkgmgr-info.h>
  int main() { return pkgmgrinfo_pkginfo_load_certinfo(\"\", nullptr, uid_t(0)); }"
  NAVO_HAVE_CERTINFO_UID)

unset(CMAKE_REQUIRED_INCLUDES)
unset(CMAKE_REQUIRED_FLAGS)
unset(CMAKE_TRY_COMPILE_TARGET_TYPE)

if(NOT NAVO_HAVE_NFC_INTERNAL AND NOT NAVO_HAVE_NFC_UNSUFFIXED)
  # Asked again next time: the headers may have come by then.
  unset(NAVO_HAVE_NFC_INTERNAL CACHE)
  unset(NAVO_HAVE_NFC_UNSUFFIXED CACHE)
  message(FATAL_ERROR
    "No secure element can be reached with this platform's headers: neither nfc_se_open_secure_element_internal "
    "(nfc_internal.h) nor nfc_se_open_secure_element (nfc.h) could be compiled. They were looked for in: "
    "${NAVO_PLATFORM_INCLUDE_DIRS}. What the compiler said stands in the logs in ${CMAKE_BINARY_DIR}/CMakeFiles.")
endif()

set(NAVO_PLATFORM_DEFINITIONS)
foreach(probe NAVO_HAVE_NFC_INTERNAL NAVO_HAVE_NFC_INITIALIZE_CALLBACK NAVO_HAVE_SYSTEM_INFO_INTERNAL
              NAVO_HAVE_SYSTEM_INFO_VALUE NAVO_HAVE_CERTINFO_UID)
  if(${probe})
    list(APPEND NAVO_PLATFORM_DEFINITIONS ${probe}=1)
  else()
    list(APPEND NAVO_PLATFORM_DEFINITIONS ${probe}=0)
  endif()
endforeach()
