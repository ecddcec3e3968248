// SPDX-License-Identifier: Apache-2.0
// JSON from a server, and the JSON that the service makes of it.
#include <glib.h>

#include "common/Json.h"
#include "tests/fuzz/FuzzTarget.h"
#include "tests/fuzz/ServiceWorld.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    ServiceWorld();
    const std::string text(reinterpret_cast<const char*>(data), size);
    Na::Json json;
    json.Parse(text);
    const std::string constructed = json.Construct();
    Require(
        g_utf8_validate(constructed.data(), static_cast<gssize>(constructed.size()), nullptr) != FALSE,
        "JSON is UTF-8");
    Na::Json again;
    Require(again.Parse(constructed), "what was made can be read");
    Require(again.Construct() == constructed, "and gives the same again");

    Na::Json made;
    made.Set(text, text);
    Require(Na::Json().Parse(made.Construct()), "any text can be a key and a value");
    return 0;
}
