// SPDX-License-Identifier: Apache-2.0
// Where one client's cookies are kept.
#pragma once

#include <string>

namespace Na {

// Path of the file for a client's context. What a path or a shell could misread in it is replaced by "_".
std::string CookieFileOf(std::string context);

// Whether libcurl may read and write the file: its folder and the folder above belong to this user alone, and
// what stands at the path is a plain file of this user's, or nothing. A file that has grown past 256 KiB is
// removed: each exchange reads all of it.
bool MayKeepCookiesIn(const std::string& file);

}  // namespace Na
