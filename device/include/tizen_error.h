// SPDX-License-Identifier: Apache-2.0
// Error numbers that every platform module shares, and their texts.
#pragma once

#ifdef __cplusplus
extern "C" {
#endif

typedef enum {
    TIZEN_ERROR_NONE = 0,
    TIZEN_ERROR_NOT_PERMITTED = -1,
    TIZEN_ERROR_NO_SUCH_FILE = -2,
    TIZEN_ERROR_IO_ERROR = -5,
    TIZEN_ERROR_TRY_AGAIN = -11,
    TIZEN_ERROR_OUT_OF_MEMORY = -12,
    TIZEN_ERROR_PERMISSION_DENIED = -13,
    TIZEN_ERROR_RESOURCE_BUSY = -16,
    TIZEN_ERROR_INVALID_PARAMETER = -22,
    TIZEN_ERROR_INVALID_OPERATION = -38,
    TIZEN_ERROR_NO_DATA = -61,
    TIZEN_ERROR_ADDRESS_FAMILY_NOT_SUPPORTED = -97,
    TIZEN_ERROR_CONNECTION_TIME_OUT = -110,
    TIZEN_ERROR_ALREADY_IN_PROGRESS = -114,
    TIZEN_ERROR_NOW_IN_PROGRESS = -115,
    TIZEN_ERROR_UNKNOWN = -1073741824,
    TIZEN_ERROR_TIMED_OUT = -1073741823,
    TIZEN_ERROR_NOT_SUPPORTED = -1073741822,
    TIZEN_ERROR_USER_NOT_CONSENTED = -1073741821,
    TIZEN_ERROR_END_OF_COLLECTION = -1073741820
} tizen_error_e;

// First number of each module's own codes; a module adds its code's place to it.
#define TIZEN_ERROR_APPLICATION -0x01100000
#define TIZEN_ERROR_APPLICATION_MANAGER -0x01110000
#define TIZEN_ERROR_PACKAGE_MANAGER -0x01150000
#define TIZEN_ERROR_CONNECTION -0x01C10000
#define TIZEN_ERROR_NFC -0x01C20000
#define TIZEN_ERROR_SMARTCARD -0x01C70000
#define TIZEN_ERROR_VCONF -0x02210000
#define TIZEN_ERROR_DLOG -0x02410000
#define TIZEN_ERROR_SYSTEM_INFORMATION -0x02450000
#define TIZEN_ERROR_SYSTEM_SETTING -0x02460000
#define TIZEN_ERROR_TELEPHONY -0x02600000

// The text belongs to the platform and holds until the same thread's next call.
char* get_error_message(int err);

// Detailed code of the thread's last call that leaves one here.
int get_last_result(void);
void set_last_result(int err);

#ifdef __cplusplus
}
#endif
