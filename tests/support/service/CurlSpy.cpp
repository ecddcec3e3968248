// SPDX-License-Identifier: Apache-2.0
#include "tests/support/service/CurlSpy.h"

#include <dlfcn.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdarg>

#undef curl_easy_setopt

namespace {

CurlSpy* active = nullptr;

// libcurl's own function of that name.
template <typename Function>
Function* Real(const char* name, Function*) {
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

bool TakesText(CURLoption option) {
    constexpr CURLoption texts[] = {CURLOPT_URL, CURLOPT_PROXY, CURLOPT_COOKIEFILE, CURLOPT_COOKIEJAR};
    return std::find(std::begin(texts), std::end(texts), option) != std::end(texts);
}

// A line for each item.
std::string TextOf(const curl_slist* list) {
    std::string text;
    for (; list != nullptr; list = list->next) {
        text.append(list->data).append("\n");
    }
    return text;
}

}  // namespace

CurlSpy::CurlSpy() {
    active = this;
}

CurlSpy::~CurlSpy() {
    active = nullptr;
}

void CurlSpy::Decide(std::deque<End> nextEnds) {
    ends = std::move(nextEnds);
}

void CurlSpy::Decide(CURLcode code, std::size_t times) {
    ends.assign(times, End{code, ""});
}

void CurlSpy::DecideStart(CURLcode code) {
    decidesStart = true;
    startCode = code;
}

void CurlSpy::DecideVersion(unsigned version) {
    decidedVersion = version;
}

std::vector<CURLoption> CurlSpy::OptionNames() const {
    std::vector<CURLoption> names;
    for (const Option& each : options) {
        names.push_back(each.option);
    }
    return names;
}

CurlSpy::Option CurlSpy::Last(CURLoption option) const {
    const auto found = std::find_if(
        options.rbegin(), options.rend(), [&](const Option& each) { return each.option == option; });
    if (found == options.rend()) {
        ADD_FAILURE() << "option " << option << " was not set";
        return {};
    }
    return *found;
}

void CurlSpy::Record(CURLoption option, void* value) {
    if (option == CURLOPT_CAINFO || option == CURLOPT_CAPATH) {
        return;
    }
    Option record = {option, "", 0, value};
    if (TakesText(option)) {
        record.text = static_cast<const char*>(value);
    } else if (option == CURLOPT_HTTPHEADER) {
        record.text = TextOf(static_cast<const curl_slist*>(value));
    } else if (option < CURLOPTTYPE_OBJECTPOINT) {
        record.number = reinterpret_cast<long>(value);
    }
    options.push_back(record);
}

bool CurlSpy::TakeEnd(CURLcode* code) {
    ++performs;
    if (passing > 0) {
        --passing;
        return false;
    }
    if (ends.empty()) {
        return false;
    }
    const End end = ends.front();
    ends.pop_front();
    auto* const write =
        reinterpret_cast<curl_write_callback>(const_cast<void*>(Last(CURLOPT_WRITEFUNCTION).pointer));
    if (!end.received.empty()) {
        std::string bytes = end.received;
        write(bytes.data(), 1, bytes.size(), const_cast<void*>(Last(CURLOPT_WRITEDATA).pointer));
    }
    *code = end.code;
    return true;
}

bool CurlSpy::TakeStart(long flags, CURLcode* code) {
    ++starts;
    startFlags = flags;
    *code = startCode;
    return decidesStart;
}

curl_version_info_data* CurlSpy::Version(curl_version_info_data* real) {
    if (decidedVersion == 0) {
        return real;
    }
    versionData = *real;
    versionData.version_num = decidedVersion;
    return &versionData;
}

extern "C" {

// libcurl's declaration has an enumeration before the dots, which Clang warns of.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wvarargs"

// Every value of an option has a register of its own on the platforms of the tests.
CURLcode curl_easy_setopt(CURL* handle, CURLoption option, ...) {
    va_list arguments;
    va_start(arguments, option);
    void* const value = va_arg(arguments, void*);
    va_end(arguments);
    if (active != nullptr) {
        active->Record(option, value);
    }
    return Real("curl_easy_setopt", curl_easy_setopt)(handle, option, value);
}

#pragma GCC diagnostic pop

CURLcode curl_easy_perform(CURL* handle) {
    CURLcode code = CURLE_OK;
    if (active == nullptr || !active->TakeEnd(&code)) {
        return Real("curl_easy_perform", curl_easy_perform)(handle);
    }
    // By its end, an exchange has read the cookies that were there.
    Real("curl_easy_setopt", curl_easy_setopt)(handle, CURLOPT_COOKIELIST, "RELOAD");
    return code;
}

CURLcode curl_global_init(long flags) {
    CURLcode code = CURLE_OK;
    return active != nullptr && active->TakeStart(flags, &code)
               ? code
               : Real("curl_global_init", curl_global_init)(flags);
}

void curl_global_cleanup() {
    if (active != nullptr) {
        active->NoteStop();
    }
    Real("curl_global_cleanup", curl_global_cleanup)();
}

curl_version_info_data* curl_version_info(CURLversion version) {
    curl_version_info_data* const real = Real("curl_version_info", curl_version_info)(version);
    return active != nullptr ? active->Version(real) : real;
}

}  // extern "C"
