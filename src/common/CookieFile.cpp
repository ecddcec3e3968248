// SPDX-License-Identifier: Apache-2.0
#include "common/CookieFile.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>

#include "common/Locations.h"

namespace Na {

namespace {

constexpr off_t LargestFile = 256L * 1024;

// A link is not followed: who planted it could lead the service anywhere.
bool IsOwnFolder(const std::string& path, uid_t own) {
    struct stat facts = {};
    return lstat(path.c_str(), &facts) == 0 && S_ISDIR(facts.st_mode) && facts.st_uid == own &&
           (facts.st_mode & (S_IWGRP | S_IWOTH)) == 0;
}

std::string FolderOf(const std::string& path) {
    return path.substr(0, path.rfind('/'));
}

}  // namespace

std::string CookieFileOf(std::string context) {
    static const std::string replaced = ";:,/\\*+";
    std::replace_if(
        context.begin(), context.end(),
        [](char character) { return replaced.find(character) != std::string::npos; }, '_');
    return std::string(Locations::CookieDirectory) + "/" + context;
}

bool MayKeepCookiesIn(const std::string& file) {
    const std::string folder = FolderOf(file);
    static const uid_t own = geteuid();  // the service never becomes another user
    if (!IsOwnFolder(folder, own) || !IsOwnFolder(FolderOf(folder), own)) {
        return false;
    }
    struct stat facts = {};
    if (lstat(file.c_str(), &facts) != 0) {
        return true;
    }
    if (S_ISDIR(facts.st_mode)) {
        return file.back() == '/';  // a client without a context has no file
    }
    if (!S_ISREG(facts.st_mode) || facts.st_uid != own || facts.st_nlink != 1) {
        return false;
    }
    return facts.st_size <= LargestFile || unlink(file.c_str()) == 0;
}

}  // namespace Na
