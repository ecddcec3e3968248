// SPDX-License-Identifier: Apache-2.0
#include "trace/EntryJson.h"

#include <algorithm>
#include <nlohmann/json.hpp>

#include "trace/Clock.h"
#include "trace/Output.h"

namespace Trace {

namespace {

using Json = nlohmann::ordered_json;

std::string Dump(const Json& value) {
    return value.dump(-1, ' ', false, Json::error_handler_t::replace);
}

void AddText(Json& object, const char* name, const std::string& text) {
    if (!text.empty()) {
        object[name] = text;
    }
}

void AddCount(Json& object, const char* name, std::size_t number) {
    if (number != 0) {
        object[name] = number;
    }
}

// Rows as lists: depth, name, value, meaning. There are many of them.
Json SectionsOf(const Details& details) {
    Json sections = Json::array();
    for (const Section& section : details.sections) {
        Json rows = Json::array();
        for (const Row& row : section.rows) {
            rows.push_back({row.depth, row.name, row.value, row.meaning});
        }
        sections.push_back({{"name", section.name}, {"rows", std::move(rows)}});
    }
    return sections;
}

Json CausesOf(const Entry& entry) {
    Json causes = Json::array();
    for (const Navo::Cause& cause : entry.causes) {
        causes.push_back(
            {{"kind", NameOf(cause.kind)},
             {"code", cause.code},
             {"meaning", cause.meaning},
             {"lookAt", cause.lookAt}});
    }
    return causes;
}

void AddTimes(Json& object, const Entry& entry) {
    if (entry.time) {
        object["time"] = *entry.time;
        object["at"] = IsoTime(*entry.time);
    }
    if (entry.isEstimated) {
        object["estimated"] = true;
    }
    if (entry.duration) {
        object["duration"] = *entry.duration;
    }
    if (entry.message && entry.message->received) {
        object["received"] = *entry.message->received;
        object["worked"] = entry.message->worked.value_or(0);
    }
}

}  // namespace

std::string JsonText(const std::string& text) {
    return Dump(Json(text));
}

std::string EntryJson(const Story& story, std::size_t index, const Details& details) {
    const Entry& entry = story.entries[index];
    Json object = {{"id", index + 1}, {"kind", NameOf(entry.kind)}, {"state", NameOf(entry.state)}};
    AddTimes(object, entry);
    AddCount(object, "job", entry.job);
    AddCount(object, "process", static_cast<std::size_t>(std::max(0L, entry.process)));
    AddCount(object, "set", entry.set);
    AddCount(object, "ordinal", entry.ordinal);
    object["from"] = details.from;
    object["to"] = details.to;
    object["title"] = details.title;
    AddText(object, "outcome", details.outcome);
    AddText(object, "meaning", details.meaning);
    AddText(object, "action", entry.action);
    AddText(object, "session", entry.message ? entry.message->session : "");
    AddText(object, "failure", details.failure);
    if (!entry.causes.empty()) {
        object["causes"] = CausesOf(entry);
    }
    AddText(object, "command", details.command);
    AddText(object, "response", details.response);
    object["sections"] = SectionsOf(details);
    if (!entry.faults.empty()) {
        object["faults"] = entry.faults;
    }
    Json origins = Json::array();
    for (const Origin& origin : entry.origins) {
        origins.push_back(PlaceOf(story, origin));
    }
    object["origins"] = std::move(origins);
    return Dump(object);
}

std::string HeadJson(const Story& story, Mask& mask) {
    Json head = {{"format", "navo-trace"}, {"version", 1}, {"masked", mask.IsOn()}};
    head["sources"] = Json::array();
    for (const Source& source : story.sources) {
        head["sources"].push_back(
            {{"file", source.file},
             {"form", NameOf(source.form)},
             {"lines", source.lines},
             {"entries", source.entries},
             {"joined", source.joined},
             {"clockShift", source.shift},
             {"cut", source.isCut}});
    }
    head["problems"] = Json::array();
    for (const Problem& problem : story.problems) {
        head["problems"].push_back(
            {{"file", problem.file}, {"line", problem.line}, {"text", mask.Words(problem.text)}});
    }
    const Totals& totals = story.totals;
    head["totals"] = {
        {"card", totals.card},         {"network", totals.network}, {"server", totals.server},
        {"service", totals.service},   {"waiting", totals.waiting}, {"apdus", totals.apdus},
        {"messages", totals.messages}, {"jobs", totals.jobs},       {"failures", totals.failures}};
    head["first"] = story.first ? Json(*story.first + 1) : Json();
    return Dump(head);
}

void WriteJson(std::ostream& stream, const Story& story, Describer& describer) {
    std::string head = HeadJson(story, describer.Masking());
    head.pop_back();
    stream << head << ",\"entries\":[";
    for (std::size_t index = 0; index < story.entries.size(); ++index) {
        stream << (index == 0 ? "\n" : ",\n")
               << EntryJson(story, index, describer.Describe(story.entries[index]));
    }
    stream << "\n]}\n";
}

namespace {

constexpr char NoTime[] = "1970-01-01T00:00:00.000000Z";

Json Milliseconds(const std::optional<Microseconds>& duration) {
    return duration ? Json(static_cast<double>(*duration) / 1000.0) : Json(-1);
}

// What is shown of the request, as the object that it was.
std::string BodyOf(const Details& details, const char* name) {
    Json body = Json::object();
    for (const Section& section : details.sections) {
        for (const Row& row : section.rows) {
            if (section.name == name && row.depth == 0) {
                body[row.name] = row.value.empty() ? row.meaning : row.value;
            }
        }
    }
    return Dump(body);
}

Json HarEntry(const Entry& entry, const Details& details) {
    const std::string request = "data=" + BodyOf(details, "Request");
    const std::string answer = BodyOf(details, "Answer");
    const int status = entry.message->answered ? entry.message->status.value_or(200) : 0;
    const Json nothing = Json::array();
    Json har = {
        {"startedDateTime", entry.time ? IsoTime(*entry.time) : NoTime},
        {"time", entry.duration ? Milliseconds(entry.duration) : Json(0)}};
    har["request"] = {{"method", "POST"},          {"url", "https://key-server.invalid/IssueCard.do"},
                      {"httpVersion", "HTTP/1.1"}, {"cookies", nothing},
                      {"headers", nothing},        {"queryString", nothing},
                      {"headersSize", -1},         {"bodySize", -1}};
    har["request"]["postData"] = {
        {"mimeType", "application/x-www-form-urlencoded"}, {"params", nothing}, {"text", request}};
    har["response"] = {{"status", status},   {"statusText", ""},   {"httpVersion", "HTTP/1.1"},
                       {"cookies", nothing}, {"headers", nothing}, {"redirectURL", ""},
                       {"headersSize", -1},  {"bodySize", -1}};
    har["response"]["content"] = {
        {"size", answer.size()}, {"mimeType", "application/json"}, {"text", answer}};
    har["cache"] = Json::object();
    const std::optional<Microseconds>& worked = entry.message->worked;
    har["timings"] = {{"send", 0}, {"wait", worked ? Milliseconds(worked) : Json(0)}, {"receive", 0}};
    har["comment"] = details.failure.empty() ? details.title : details.title + ": " + details.failure;
    return har;
}

}  // namespace

void WriteHar(std::ostream& stream, const Story& story, Describer& describer) {
    stream << "{\"log\":{\"version\":\"1.2\",\"creator\":{\"name\":\"navo-trace\",\"version\":"
           << JsonText(NAVO_VERSION) << "},\"entries\":[";
    const char* separator = "\n";
    for (const Entry& entry : story.entries) {
        const Details details = describer.Describe(entry);
        if (entry.kind == Kind::Message) {
            stream << separator << Dump(HarEntry(entry, details));
            separator = ",\n";
        }
    }
    stream << "\n]}}\n";
}

}  // namespace Trace
