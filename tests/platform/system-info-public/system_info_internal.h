// SPDX-License-Identifier: Apache-2.0
#error "This release has no system_info_internal.h"
