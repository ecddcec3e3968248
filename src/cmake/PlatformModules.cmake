# SPDX-License-Identifier: Apache-2.0
# The device's own modules that the service needs, as pkg-config knows them. Call it after find_package(PkgConfig).
set(NAVO_TIZEN_MODULES
    capi-base-common dlog capi-network-nfc capi-network-connection capi-telephony
    capi-system-system-settings capi-system-info aul capi-appfw-package-manager pkgmgr-info cert-svc-vcore)

# One interface with two implementations, of which a release may have either. Where there is none, the usual name is
# what is said to be missing.
set(vconf_module vconf)
pkg_check_modules(NAVO_VCONF QUIET vconf)
if(NOT NAVO_VCONF_FOUND)
  pkg_check_modules(NAVO_VCONF_BUXTON QUIET vconf-buxton)
  if(NAVO_VCONF_BUXTON_FOUND)
    set(vconf_module vconf-buxton)
  endif()
endif()
list(APPEND NAVO_TIZEN_MODULES ${vconf_module})
