# SPDX-License-Identifier: Apache-2.0
# The device's own modules that the service needs, as pkg-config knows them.
set(NAVO_TIZEN_MODULES
    capi-base-common dlog capi-network-nfc capi-network-connection capi-telephony vconf
    capi-system-system-settings capi-system-info aul capi-appfw-package-manager pkgmgr-info cert-svc-vcore)
