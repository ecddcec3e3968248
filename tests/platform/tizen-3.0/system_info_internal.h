#error "This release has no system_info_internal.h"
