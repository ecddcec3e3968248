// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cert-svc/cerror.h>
#include <cert-svc/cinstance.h>
#include <stddef.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef enum { CERTSVC_FORM_DER = 0, CERTSVC_FORM_DER_BASE64 = 1 } CertSvcCertificateForm;

typedef enum {
    CERTSVC_VISIBILITY_DEVELOPER = 1,
    CERTSVC_VISIBILITY_PUBLIC = 64,
    CERTSVC_VISIBILITY_PARTNER = 128,
    CERTSVC_VISIBILITY_PLATFORM = 1024
} CertSvcVisibility;

typedef struct CertSvcCertificate_t {
    size_t privateHandler;
    CertSvcInstance privateInstance;
} CertSvcCertificate;

int certsvc_certificate_new_from_memory(
    CertSvcInstance instance, const unsigned char* memory, size_t len, CertSvcCertificateForm form,
    CertSvcCertificate* certificate);
void certsvc_certificate_free(CertSvcCertificate certificate);
int certsvc_certificate_get_visibility(CertSvcCertificate certificate, CertSvcVisibility* visibility);

#ifdef __cplusplus
}
#endif
