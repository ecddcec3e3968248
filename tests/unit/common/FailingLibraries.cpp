// SPDX-License-Identifier: Apache-2.0
#include "tests/unit/common/FailingLibraries.h"

#include <dlfcn.h>
#include <json-glib/json-glib.h>
#include <openssl/sha.h>

FailingDigest failingDigest = FailingDigest::None;
bool jsonGeneratorFails = false;

namespace {

// The function of that name which stands behind the one of this program.
template <typename Function>
Function* Library(const char* name, Function*) {
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

}  // namespace

extern "C" {

int SHA256_Init(SHA256_CTX* context) {
    return failingDigest == FailingDigest::Init ? 0 : Library("SHA256_Init", SHA256_Init)(context);
}

int SHA256_Update(SHA256_CTX* context, const void* data, size_t length) {
    return failingDigest == FailingDigest::Update
               ? 0
               : Library("SHA256_Update", SHA256_Update)(context, data, length);
}

int SHA256_Final(unsigned char* digest, SHA256_CTX* context) {
    return failingDigest == FailingDigest::Final ? 0 : Library("SHA256_Final", SHA256_Final)(digest, context);
}

gchar* json_generator_to_data(JsonGenerator* generator, gsize* length) {
    return jsonGeneratorFails ? nullptr
                              : Library("json_generator_to_data", json_generator_to_data)(generator, length);
}

}  // extern "C"
