// SPDX-License-Identifier: Apache-2.0
// Certificates and the visibility that their root grants.
#pragma once

#include <cert-svc/cerror.h>
#include <cert-svc/cinstance.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef enum { CERTSVC_FORM_DER = 0, CERTSVC_FORM_DER_BASE64 = 1 } CertSvcCertificateForm;

typedef enum {
    CERTSVC_VISIBILITY_DEVELOPER = 1,
    CERTSVC_VISIBILITY_TEST = 2,
    CERTSVC_VISIBILITY_PUBLIC = 64,
    CERTSVC_VISIBILITY_PARTNER = 128,
    CERTSVC_VISIBILITY_PARTNER_OPERATOR = 256,
    CERTSVC_VISIBILITY_PARTNER_MANUFACTURER = 512,
    CERTSVC_VISIBILITY_PLATFORM = 1024
} CertSvcVisibility;

typedef struct CertSvcCertificate_t {
    int privateHandler;
    CertSvcInstance privateInstance;
} CertSvcCertificate;

int certsvc_certificate_new_from_memory(
    CertSvcInstance instance, const unsigned char* memory, int len, CertSvcCertificateForm form,
    CertSvcCertificate* certificate);
void certsvc_certificate_free(CertSvcCertificate certificate);

// `visibility` receives a CertSvcVisibility.
int certsvc_certificate_get_visibility(CertSvcCertificate certificate, int* visibility);

#ifdef __cplusplus
}
#endif
