// SPDX-License-Identifier: Apache-2.0
#include "client/navoctl/Doctor.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <memory>

#include "client/navoctl/ExitStatus.h"
#include "client/navoctl/JsonWriter.h"
#include "client/navoctl/Output.h"
#include "commandline/Terminal.h"
#include "navo/BusSight.h"
#include "navo/Causes.h"

namespace {

using CommandLine::Colour;

constexpr char AccessDenied[] = "org.freedesktop.DBus.Error.AccessDenied";
constexpr std::chrono::seconds UsualLimit{30};

const char* WordFor(Health health) {
    return health == Health::Good ? "good" : health == Health::Bad ? "bad" : "unknown";
}

class Examination {
public:
    Examination(const Arguments& ofArguments, const Navo::Cancellation& cancellation) {
        options.timeLimit = ofArguments.timeLimit == Navo::NoTimeLimit ? UsualLimit : ofArguments.timeLimit;
        options.confirm = true;
        options.cancellation = &cancellation;
    }

    const std::vector<Finding>& Findings() const { return findings; }

    void Run() {
        if (LookAtBus()) {
            OpenSession();
        } else {
            for (const char* what : {"activation", "policy", "service"}) {
                findings.push_back({what, Health::Unknown, "without a bus nobody can tell", ""});
            }
        }
        const ServiceSight service(session != nullptr ? session->ServiceProcess() : bus.process);
        findings.push_back(LookAtSchema(service));
        findings.push_back(LookAtAddress(service));
        findings.push_back(LookAtServer(service));
        AddCard(service);
        findings.push_back(LookAtClock());
        Close();
    }

private:
    bool LookAtBus() {
        try {
            bus = Navo::LookAtBus(options);
        } catch (const Navo::ClientError& error) {
            findings.push_back({"bus", Health::Bad, error.what(), RemedyOf(error)});
            return false;
        }
        findings.push_back({"bus", Health::Good, "the bus lets this process in", ""});
        findings.push_back(
            bus.activatable || !bus.owner.empty()
                ? Finding{"activation", Health::Good,
                          bus.activatable ? "the bus can start the service"
                                          : "the bus cannot start the service, which runs by itself",
                          ""}
                : Finding{"activation", Health::Bad, "the bus does not know how to start the service",
                          "Install com.orvenco.navoa.service where the bus looks for system services, then "
                          "reload the bus."});
        return true;
    }

    // May I, and does it answer?
    void OpenSession() {
        try {
            session = std::make_unique<Navo::Session>(options);
        } catch (const Navo::ClientError& error) {
            const bool isForbidden = error.BusError() == AccessDenied;
            findings.push_back(
                isForbidden ? Finding{"policy", Health::Bad, error.what(),
                                      "Put this user into the group navo, log in anew, and see that the policy "
                                      "com.orvenco.navoa.conf is installed."}
                            : Finding{"policy", Health::Unknown, "the service did not answer", ""});
            findings.push_back(
                isForbidden ? Finding{"service", Health::Unknown, "the policy stands before it", ""}
                            : Finding{"service", Health::Bad, error.what(), RemedyOf(error)});
            return;
        }
        findings.push_back({"policy", Health::Good, "this user may use the service", ""});
        findings.push_back(
            {"service", Health::Good,
             "process " + std::to_string(session->ServiceProcess()) + " opened a session", ""});
    }

    void AddCard(const ServiceSight& service) {
        try {
            findings.push_back(LookAtCard(service, session.get()));
        } catch (const Navo::ClientError& error) {
            findings.push_back({"card", Health::Bad, error.what(), RemedyOf(error)});
        }
    }

    void Close() {
        try {
            if (session != nullptr) {
                session->Close();
            }
        } catch (const Navo::ClientError& error) {
            Complain(std::string("the service may still count this session: ") + error.what());
        }
    }

    static std::string RemedyOf(const Navo::ClientError& error) {
        const std::vector<Navo::Cause> causes = Navo::CausesOf(NameOf(error.Kind()), Navo::CauseKind::Error);
        return causes.empty() ? "" : "Look at: " + causes.front().lookAt;
    }

    Navo::SessionOptions options;
    Navo::BusSight bus;
    std::unique_ptr<Navo::Session> session;  // null where none could be opened
    std::vector<Finding> findings;
};

void Print(const Finding& finding) {
    const bool colour = CommandLine::TakesColour(STDOUT_FILENO);
    const Colour meaning = finding.health == Health::Good  ? Colour::Good
                           : finding.health == Health::Bad ? Colour::Bad
                                                           : Colour::Warning;
    char what[16];
    char word[16];
    std::snprintf(what, sizeof what, "%-12s", finding.what);
    std::snprintf(word, sizeof word, "%-9s", WordFor(finding.health));
    std::string text = what + CommandLine::Coloured(word, meaning, colour) + finding.text;
    if (!finding.remedy.empty()) {
        text += "\n" + std::string(21, ' ') + "-> " + finding.remedy;
    }
    std::fputs((text + "\n").c_str(), stdout);
}

void PrintJson(const std::vector<Finding>& findings, bool isWell) {
    JsonWriter writer;
    writer.AddAlways("command", "doctor");
    writer.Add("success", isWell);
    writer.BeginList("findings");
    for (const Finding& finding : findings) {
        writer.BeginItem();
        writer.AddAlways("what", finding.what);
        writer.AddAlways("health", WordFor(finding.health));
        writer.AddAlways("text", finding.text);
        writer.Add("remedy", finding.remedy);
        writer.End();
    }
    writer.EndList();
    WriteLine(stdout, writer.Text());
}

}  // namespace

int Doctor(const Arguments& arguments, const Navo::Cancellation& cancellation) {
    Examination examination(arguments, cancellation);
    examination.Run();
    const std::vector<Finding>& findings = examination.Findings();
    const bool isWell = std::none_of(
        findings.begin(), findings.end(), [](const Finding& each) { return each.health == Health::Bad; });
    if (arguments.json) {
        PrintJson(findings, isWell);
    } else {
        std::for_each(findings.begin(), findings.end(), Print);
    }
    return FlushOutput() && isWell ? ExitStatus::Success : ExitStatus::Failure;
}
