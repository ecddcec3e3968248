// SPDX-License-Identifier: Apache-2.0
#error "This release has no nfc_internal.h"
