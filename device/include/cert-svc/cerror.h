// SPDX-License-Identifier: Apache-2.0
// Results of the certificate service. Success is 1, not 0.
#pragma once

#ifdef __cplusplus
extern "C" {
#endif

#define CERTSVC_TRUE 1
#define CERTSVC_FALSE 0

#define CERTSVC_SUCCESS 1
#define CERTSVC_FAIL 0
#define CERTSVC_BAD_ALLOC -2
#define CERTSVC_WRONG_ARGUMENT -4
#define CERTSVC_INVALID_ALGORITHM -5
#define CERTSVC_INVALID_SIGNATURE -6
#define CERTSVC_IO_ERROR -7
#define CERTSVC_INVALID_PASSWORD -8
#define CERTSVC_DUPLICATED_ALIAS -9

#ifdef __cplusplus
}
#endif
