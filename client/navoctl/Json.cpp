// SPDX-License-Identifier: Apache-2.0
#include "client/navoctl/Json.h"

#include "client/navoctl/JsonWriter.h"
#include "globalplatform/CplcFields.h"

std::string JsonOf(
    const Arguments& arguments, const Navo::Outcome& outcome, const Navo::Map& reply,
    const std::string& hint) {
    JsonWriter writer;
    writer.Add("command", arguments.name);
    writer.Add("success", outcome.success);
    writer.Add("code", outcome.code);
    writer.Add("description", outcome.description);
    writer.Add("value", outcome.value);
    writer.Add("explanation", outcome.explanation);
    writer.Add("hint", hint);
    if (arguments.fields && outcome.success) {
        writer.Begin("fields");
        for (const GlobalPlatform::CplcField& field : GlobalPlatform::DecodeCplc(outcome.value)) {
            writer.AddAlways(field.key.c_str(), field.value);
        }
        writer.End();
    }
    writer.Begin("reply");
    for (const auto& [key, value] : reply) {
        writer.AddAlways(key.c_str(), value);
    }
    writer.End();
    return writer.Text();
}

std::string JsonOf(const Arguments& arguments, const Navo::ClientError& error, const std::string& hint) {
    JsonWriter writer;
    writer.Add("command", arguments.name);
    writer.Add("success", false);
    writer.Begin("error");
    writer.Add("kind", std::string(Navo::NameOf(error.Kind())));
    writer.Add("message", std::string(error.what()));
    writer.Add("busError", error.BusError());
    writer.End();
    writer.Add("hint", hint);
    return writer.Text();
}

std::string JsonOf(const CommandLine::Complaint& complaint) {
    JsonWriter writer;
    writer.Add("success", false);
    writer.Begin("error");
    writer.AddAlways("kind", "wrong-usage");
    writer.Add("message", complaint.text);
    writer.Add("suggestion", complaint.suggestion);
    writer.Add("usage", complaint.usage);
    writer.End();
    return writer.Text();
}

std::string JsonOf(const std::vector<Explanation>& explanations) {
    JsonWriter writer;
    writer.BeginList("codes");
    for (const Explanation& explanation : explanations) {
        writer.BeginItem();
        writer.AddAlways("code", explanation.code);
        writer.BeginList("causes");
        for (const Navo::Cause& cause : explanation.causes) {
            writer.BeginItem();
            writer.AddAlways("kind", Navo::NameOf(cause.kind));
            writer.AddAlways("code", cause.code);
            writer.AddAlways("meaning", cause.meaning);
            writer.Add("lookAt", cause.lookAt);
            writer.End();
        }
        writer.EndList();
        writer.End();
    }
    writer.EndList();
    return writer.Text();
}
