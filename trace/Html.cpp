// SPDX-License-Identifier: Apache-2.0
#include "trace/Html.h"

#include <openssl/evp.h>

#include "globalplatform/Sha256.h"
#include "trace/EntryJson.h"

namespace Trace {

namespace {

std::string Base64(const Bytes& bytes) {
    std::string text((bytes.size() + 2) / 3 * 4 + 1, '\0');  // with the zero behind it
    const int length = EVP_EncodeBlock(
        reinterpret_cast<unsigned char*>(text.data()), bytes.data(), static_cast<int>(bytes.size()));
    text.resize(static_cast<std::size_t>(length));
    return text;
}

// As a Content-Security-Policy names an element by what it holds.
std::string HashOf(std::string_view text) {
    return "'sha256-" + Base64(GlobalPlatform::Sha256(text)) + "'";
}

// Nothing in a script element may look like its end.
void WriteInert(std::ostream& stream, const std::string& json) {
    std::size_t begin = 0;
    for (std::size_t at = json.find('<'); at != std::string::npos; at = json.find('<', begin)) {
        stream.write(json.data() + begin, static_cast<std::streamsize>(at - begin));
        stream << "\\u003c";
        begin = at + 1;
    }
    stream.write(json.data() + begin, static_cast<std::streamsize>(json.size() - begin));
}

class PageWriter {
public:
    PageWriter(std::ostream& target, const Story& whole, Describer& describing, bool live)
        : stream(target), story(whole), describer(describing), isLive(live) {}

    // The frame names its parts in double brackets: [[style]].
    void Write() {
        std::string_view rest = PageFrame;
        for (std::size_t at = rest.find("[["); at != std::string_view::npos; at = rest.find("[[")) {
            const std::size_t end = rest.find("]]", at);
            stream << rest.substr(0, at);
            WritePart(rest.substr(at + 2, end - at - 2));
            rest = rest.substr(end + 2);
        }
        stream << rest;
    }

private:
    void WritePart(std::string_view name) {
        if (name == "style") {
            stream << PageStyle;
        } else if (name == "script") {
            stream << PageScript;
        } else if (name == "live") {
            stream << (isLive ? "yes" : "no");
        } else if (name == "policy") {
            stream << "default-src 'none'; script-src " << HashOf(PageScript) << "; style-src "
                   << HashOf(PageStyle) << "; img-src data:; base-uri 'none'; form-action 'none'"
                   << (isLive ? "; connect-src 'self'" : "");
        } else if (name == "head") {
            WriteInert(stream, HeadJson(story, describer.Masking()));
        } else if (name == "entries") {
            for (std::size_t index = 0; index < story.entries.size(); ++index) {
                WriteInert(stream, EntryJson(story, index, describer.Describe(story.entries[index])));
                stream << "\n";
            }
        }
    }

    std::ostream& stream;
    const Story& story;
    Describer& describer;
    bool isLive;
};

}  // namespace

void WriteHtml(std::ostream& stream, const Story& story, Describer& describer) {
    PageWriter(stream, story, describer, false).Write();
}

void WriteLivePage(std::ostream& stream, const Story& story, Describer& describer) {
    PageWriter(stream, story, describer, true).Write();
}

void WriteLines(std::ostream& stream, const Story& story, Describer& describer) {
    stream << HeadJson(story, describer.Masking()) << "\n";
    for (std::size_t index = 0; index < story.entries.size(); ++index) {
        stream << EntryJson(story, index, describer.Describe(story.entries[index])) << "\n";
    }
}

}  // namespace Trace
