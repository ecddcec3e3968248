// SPDX-License-Identifier: Apache-2.0
// Owner of what the certificate service hands out.
#pragma once

#include <cert-svc/cerror.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef struct CertSvcInstance_t {
    void* privatePtr;
} CertSvcInstance;

int certsvc_instance_new(CertSvcInstance* instance);

// Releases every certificate that was made from the instance, too.
void certsvc_instance_free(CertSvcInstance instance);

#ifdef __cplusplus
}
#endif
