// SPDX-License-Identifier: Apache-2.0
// What the service asks of libcurl, and what libcurl answers when a test decides. The functions stand in for
// libcurl's in the whole test program; what a test does not decide, libcurl does.
#pragma once

#include <curl/curl.h>

#include <deque>
#include <string>
#include <vector>

class CurlSpy {
public:
    struct Option {
        CURLoption option;
        std::string text;  // of an option that takes one; lists as lines
        long number;       // of an option that takes one
        const void* pointer;
    };

    // An end of an exchange: its code, and the bytes of the answer that came before.
    struct End {
        CURLcode code;
        std::string received;
    };

    // Watches for as long as it lives. One at a time.
    CurlSpy();
    ~CurlSpy();
    CurlSpy(const CurlSpy&) = delete;
    CurlSpy& operator=(const CurlSpy&) = delete;

    // The exchanges that come next end so, without any network; later ones are real.
    void Decide(std::deque<End> nextEnds);
    void Decide(CURLcode code, std::size_t times);

    // The next exchanges are real; only those after them end as was decided.
    void LetPass(int exchanges) { passing = exchanges; }

    // Every later start of libcurl gives this code.
    void DecideStart(CURLcode code);

    // The version that libcurl gives as its own.
    void DecideVersion(unsigned version);

    // Options in the order in which they were set; the device's trust store is left out.
    const std::vector<Option>& Options() const { return options; }
    std::vector<CURLoption> OptionNames() const;

    // The last value of an option that was set.
    Option Last(CURLoption option) const;

    int Performs() const { return performs; }
    int Starts() const { return starts; }
    long StartFlags() const { return startFlags; }  // of the last one
    int Stops() const { return stops; }

    // For the functions that stand in.
    void Record(CURLoption option, void* value);
    bool TakeEnd(CURLcode* code);
    bool TakeStart(long flags, CURLcode* code);
    void NoteStop() { ++stops; }
    curl_version_info_data* Version(curl_version_info_data* real);

private:
    std::vector<Option> options;
    std::deque<End> ends;
    int passing = 0;
    bool decidesStart = false;
    CURLcode startCode = CURLE_OK;
    unsigned decidedVersion = 0;
    curl_version_info_data versionData = {};
    int performs = 0;
    int starts = 0;
    long startFlags = 0;
    int stops = 0;
};
