#error "This release has no nfc_internal.h"
