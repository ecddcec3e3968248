// SPDX-License-Identifier: Apache-2.0
#include "trace/ServiceLog.h"

#include <algorithm>
#include <cstdlib>

#include "trace/ApduText.h"

namespace Trace {

namespace {

constexpr std::string_view ServiceTag = "NavoAgent";
constexpr std::string_view DeviceTag = "navo-device";

// What the service says in front of its words: "[/src/app/Agent.cpp:104 ConstructJob] ".
std::string_view WithoutPlace(std::string_view text) {
    const std::size_t end = text.find("] ");
    return !text.empty() && text.front() == '[' && end != std::string_view::npos ? text.substr(end + 2)
                                                                                 : text;
}

// Of "sid X; fid Y; req Z" the part behind `name`, up to what follows it.
std::string PartOf(const std::string& text, const std::string& name, const std::string& next) {
    const std::size_t at = text.find(name);
    if (at == std::string::npos) {
        return {};
    }
    const std::size_t begin = at + name.size();
    return text.substr(begin, next.empty() ? std::string::npos : text.find(next, begin) - begin);
}

}  // namespace

struct ServiceLog::Matter {
    std::string_view words;
    Handler handler;
};

// What the service's words are about; null for what a trace does not tell.
const ServiceLog::Matter* ServiceLog::Find(std::string_view text) {
    static constexpr Matter Matters[] = {
        {"CAPDU: ", &ServiceLog::OnCommand},
        {"Sending command to SE", &ServiceLog::OnSending},
        {"rAPDU: ", &ServiceLog::OnResponses},
        {"cAPDU: ", &ServiceLog::OnSet},
        {"cmd: ", &ServiceLog::OnRequest},
        {"Opening SE", &ServiceLog::OnOpening},
        {"Starting to work with SE of type", &ServiceLog::OnOpened},
        {"SE of type ", &ServiceLog::OnOpenFailure},
        {"NFC stack is not supported", &ServiceLog::OnOpenFailure},
        {"Fatal: NFC Manager", &ServiceLog::OnOpenFailure},
        {"Closing SE", &ServiceLog::OnClosing},
        {"Job execution: ", &ServiceLog::OnScript},
        {"Trying to set up Internet", &ServiceLog::OnNetwork},
        {"Command set is missing", &ServiceLog::OnSetMissing},
        {"Wrong cApdu", &ServiceLog::OnWrongCommand},
        {"APDU send error: ", &ServiceLog::OnSendError},
        {"SE not opened", &ServiceLog::OnSendError},
        {"eSE communication problem", &ServiceLog::OnNoResponse},
        {"eSE never completes", &ServiceLog::OnNoResponse},
        {"Card responded with error SW: ", &ServiceLog::OnCardError},
        {"Error sending request: ", &ServiceLog::OnHttpError},
        {"Error details: ", &ServiceLog::OnHttpDetails},
        {"No connection to Internet", &ServiceLog::OnNoNetwork},
        {"json_parser_load_from_data failed", &ServiceLog::OnAnswerTrouble},
        {"The answer is longer than", &ServiceLog::OnAnswerTrouble},
        {"Redirect to ", &ServiceLog::OnHttpDetails},
        {"Job execution status: ", &ServiceLog::OnReply},
        {"Job result: ", &ServiceLog::OnReply},
        {"Error starting a new job: ", &ServiceLog::OnReply},
        {"Job ended by an exception: ", &ServiceLog::OnException},
        {"Client disappeared", &ServiceLog::OnDisappeared},
    };
    const auto* const found = std::find_if(std::begin(Matters), std::end(Matters), [&](const Matter& each) {
        return text.substr(0, each.words.size()) == each.words;
    });
    return found == std::end(Matters) ? nullptr : found;
}

void ServiceLog::Take(const LogLine& line, std::size_t number) {
    if (line.tag != ServiceTag && line.tag != DeviceTag) {
        return;
    }
    now = line;
    lineNumber = number;
    if (awaitsTime) {
        EndCommand();
    }
    const std::string_view text = WithoutPlace(line.text);
    const Matter* const matter = line.tag == ServiceTag ? Find(text) : nullptr;
    if (matter != nullptr) {
        (this->*matter->handler)(std::string(text.substr(matter->words.size())));
    } else if (line.priority == 'E') {
        Note(std::string(text), State::Noted);
    }
}

void ServiceLog::TakeRest(const std::string& text) {
    constexpr std::string_view Details = "Error details: ";
    if (text.rfind(Details, 0) == 0) {
        OnHttpDetails(text.substr(Details.size()));
    }
}

Entry& ServiceLog::Add(Kind kind) {
    Entry entry;
    entry.kind = kind;
    entry.time = now.time;
    entry.job = job;
    entry.process = now.process;
    entry.origins.push_back({sourceNumber, lineNumber});
    entries.push_back(std::move(entry));
    return entries.back();
}

void ServiceLog::Note(const std::string& words, State state) {
    Entry& note = Add(Kind::Note);
    note.text = words;
    note.state = state;
}

// The first line behind a command was written when its response was there.
void ServiceLog::EndCommand() {
    awaitsTime = false;
    Entry* const entry = At(command);
    if (entry != nullptr && entry->time && now.time) {
        entry->duration = std::max<Microseconds>(0, *now.time - *entry->time);
    }
}

Entry* ServiceLog::Awaited() {
    return At(message);
}

void ServiceLog::BeginMessage(const std::string& name) {
    EndMessage();
    Entry& entry = Add(Kind::Message);
    entry.message = std::make_unique<Message>();
    entry.message->name = name;
    entry.set = set;
    message = entries.size() - 1;
}

// From now on nothing more is said of it.
void ServiceLog::EndMessage() {
    if (Entry* const entry = Awaited()) {
        if (entry->time && now.time) {
            entry->duration = std::max<Microseconds>(0, *now.time - *entry->time);
        }
    }
    message = None;
}

void ServiceLog::OnRequest(const std::string& rest) {
    ++job;
    set = 0;
    inSet = false;
    message = None;
    command = None;
    Add(Kind::Request).text = rest;
}

void ServiceLog::OnOpening(const std::string&) {
    Add(Kind::Open);
}

void ServiceLog::OnOpened(const std::string&) {
    for (std::size_t index = entries.size(); index-- > 0;) {
        if (entries[index].kind == Kind::Open) {
            Entry& entry = entries[index];
            entry.duration = entry.time && now.time ? std::optional(*now.time - *entry.time) : std::nullopt;
            entry.knowsResponse = true;
            return;
        }
    }
}

void ServiceLog::OnOpenFailure(const std::string& rest) {
    if (entries.empty() || entries.back().kind != Kind::Open) {
        Add(Kind::Open);
    }
    entries.back().failure = "The secure element did not open: " + rest;
}

void ServiceLog::OnClosing(const std::string&) {
    Add(Kind::Close);
}

void ServiceLog::OnScript(const std::string& rest) {
    BeginMessage("INITIALIZEAPDU");
    Fields& request = Awaited()->message->request;
    request.emplace_back("serviceId", PartOf(rest, "sid ", "; fid "));
    request.emplace_back("fcId", PartOf(rest, "fid ", "; req "));
    request.emplace_back("pushReq", PartOf(rest, "req ", ""));
}

// Each message begins so; those of a script have begun with what they carry.
void ServiceLog::OnNetwork(const std::string&) {
    Entry* const entry = Awaited();
    if (entry != nullptr && entry->message->name == "ELIGIBILITY" && entry->message->errors.empty()) {
        entry->message->answered = true;
        entry->message->resultCode = "10500006";
    }
    if (entry == nullptr || entry->message->name == "ELIGIBILITY") {
        BeginMessage("ELIGIBILITY");  // again, while the server asks to wait
    }
}

void ServiceLog::OnSet(const std::string& rest) {
    ++set;
    inSet = true;
    commands.clear();
    command = None;
    if (Entry* const entry = Awaited()) {
        entry->message->answered = true;
        entry->message->resultCode = "00000000";
        entry->message->commandSet = rest;
        entry->set = set;
        EndMessage();
    }
}

void ServiceLog::OnSetMissing(const std::string&) {
    Note("The server announced commands and sent none", State::Noted);
}

// "00A4040000 [10]"; the number tells whether the log has all of it.
void ServiceLog::OnCommand(const std::string& rest) {
    const std::size_t end = rest.rfind(" [");
    const std::string digits = rest.substr(0, end);
    Entry& entry = Add(Kind::Apdu);
    entry.set = set;
    commands.push_back(entries.size() - 1);
    entry.ordinal = commands.size();
    const std::optional<Seen> seen = SeeCommand(digits);
    const bool hasHalf = end != std::string::npos && std::atoi(rest.c_str() + end + 2) % 2 != 0;
    entry.isCut = end == std::string::npos;
    entry.knowsCommand = seen && !seen->bytes.empty() && !hasHalf;
    entry.command = entry.knowsCommand ? *seen : Seen();
    entry.text = entry.knowsCommand ? "" : digits;
    command = entries.size() - 1;
    commandIsSent = false;
}

void ServiceLog::OnWrongCommand(const std::string&) {
    FailCommand(
        "The server's command set is malformed: this is no command, and none of the set's answers is sent");
}

void ServiceLog::OnSending(const std::string&) {
    Entry* entry = At(command);
    if (inSet && entry != nullptr && commandIsSent) {
        ++entry->followUps;
        return;
    }
    if (!inSet || entry == nullptr) {
        Add(Kind::Apdu);
        command = entries.size() - 1;
        entry = At(command);
    }
    entry->time = now.time;
    commandIsSent = true;
    awaitsTime = true;
}

void ServiceLog::FailCommand(const std::string& words) {
    if (Entry* const entry = At(command)) {
        entry->failure = entry->failure.empty() ? words : entry->failure;
    } else {
        Note(words, State::Noted);
    }
}

void ServiceLog::OnSendError(const std::string& rest) {
    FailCommand("The card gave no answer: " + (rest.empty() ? "the secure element is not open" : rest));
}

void ServiceLog::OnNoResponse(const std::string& rest) {
    FailCommand("The card gave no answer" + rest);
}

void ServiceLog::OnCardError(const std::string& rest) {
    Entry* const entry = At(command);
    const std::optional<Bytes> status = GlobalPlatform::FromHexText(rest);
    if (entry != nullptr && !entry->knowsCommand && status && status->size() == 2) {
        entry->response.bytes = *status;
        entry->knowsResponse = true;
    }
}

// The responses of a set, or why there are none; the next message carries them.
void ServiceLog::OnResponses(const std::string& rest) {
    const std::string failure = RelayFailureOf(rest);
    const std::vector<std::string> responses = failure.empty() ? ItemsOf(rest) : std::vector<std::string>();
    for (std::size_t index = 0; index < std::min(commands.size(), responses.size()); ++index) {
        Entry& entry = entries[commands[index]];
        const std::optional<Seen> seen = SeeResponse(responses[index]);
        entry.knowsResponse = seen && seen->bytes.size() >= 2;
        entry.response = seen.value_or(Seen());
        entry.isCut = entry.isCut || !entry.knowsResponse;
    }
    for (std::size_t index = responses.size(); failure.empty() && index < commands.size(); ++index) {
        entries[commands[index]].isCut = true;  // the log's line ends before this response
    }
    inSet = false;
    command = None;
    BeginMessage("NEXTAPDU");
    Awaited()->message->responseSet = rest;
}

void ServiceLog::OnHttpError(const std::string& rest) {
    if (Entry* const entry = Awaited()) {
        entry->message->errors.push_back(rest);
    } else {
        Note(rest, State::Noted);
    }
}

void ServiceLog::OnHttpDetails(const std::string& rest) {
    Entry* const entry = Awaited();
    if (entry != nullptr && !entry->message->errors.empty() && !rest.empty()) {
        entry->message->errors.back() += ": " + rest;
    }
}

void ServiceLog::OnNoNetwork(const std::string& rest) {
    OnHttpError("no connection to the Internet" + rest);
}

void ServiceLog::OnAnswerTrouble(const std::string& rest) {
    if (Entry* const entry = Awaited()) {
        entry->message->answered = true;
        entry->message->errors.push_back("the answer cannot be used" + rest);
    } else {
        Note("An answer cannot be used" + rest, State::Noted);
    }
}

void ServiceLog::OnReply(const std::string& rest) {
    Entry* const entry = Awaited();
    if (entry != nullptr && entry->message->errors.empty()) {
        const std::string code = rest.substr(0, rest.find('_'));
        const bool isStatus = code.size() == 3 && rest.find('_') == std::string::npos;
        entry->message->answered = true;
        entry->message->status = isStatus ? std::atoi(code.c_str()) : 200;
        entry->message->resultCode = isStatus ? "" : code;
    }
    EndMessage();
    Add(Kind::Reply).text = rest;
    inSet = false;
    command = None;
}

void ServiceLog::OnException(const std::string& rest) {
    Note("The job ended by an exception: " + rest, State::Noted);
}

void ServiceLog::OnDisappeared(const std::string&) {
    Note("The client has gone, and the job ends", State::Noted);
}

}  // namespace Trace
