// SPDX-License-Identifier: Apache-2.0
// What has to be known of a JSON text before json-glib may see it.
#pragma once

#include <string>

namespace Na {

// Null when the text is safe to parse, else the reason why not. The parser of json-glib recurses into every
// bracket, takes memory for every value, loads a blank text as if it were JSON, and loses track of where a
// string ends in malformed escapes; a text that is refused here for another reason than its depth or its
// number of values is no JSON.
const char* ReasonToRefuseJson(const std::string& text);

// Whether there is nothing in the text: no JSON, and nothing that could be misread either.
bool IsBlank(const std::string& text);

}  // namespace Na
