# SPDX-License-Identifier: Apache-2.0
# Decides whose platform functions the service is linked with: the device's own modules when pkg-config has
# them all, else the virtual device of this tree.
include(src/cmake/PlatformModules.cmake)

if(NOT NAVO_PLATFORM)
  pkg_check_modules(NAVO_TIZEN QUIET ${NAVO_TIZEN_MODULES})
  if(NAVO_TIZEN_FOUND)
    set(NAVO_PLATFORM tizen)
  else()
    set(NAVO_PLATFORM virtual)
  endif()
endif()
message(STATUS "Platform: ${NAVO_PLATFORM}")

if(NAVO_PLATFORM STREQUAL "virtual")
  # src/ sees the platform through this target alone: headers, never sources, of the virtual device.
  set(NAVO_PLATFORM_INCLUDE_DIRS "${CMAKE_SOURCE_DIR}/device/include")
elseif(NOT NAVO_PLATFORM STREQUAL "tizen")
  message(FATAL_ERROR "NAVO_PLATFORM is '${NAVO_PLATFORM}'; it can be tizen or virtual")
endif()
