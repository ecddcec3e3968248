// SPDX-License-Identifier: Apache-2.0
// navo-conformance: drives an installed service from outside, over the bus and with a key server of its own,
// and says row by row what holds.
#include <CLI/CLI.hpp>
#include <algorithm>
#include <iostream>

#include "commandline/CommandLine.h"
#include "conformance/Kit.h"
#include "conformance/Report.h"
#include "conformance/Row.h"
#include "keyserver/http/Certificates.h"

namespace Conformance {

std::vector<Row> AllRows() {
    std::vector<Row> rows;
    for (const auto& some : {SessionRows(), RequestRows(), CommandRows(), ServerRows()}) {
        rows.insert(rows.end(), some.begin(), some.end());
    }
    return rows;
}

void Expect(const std::string& there, const std::string& expected, const std::string& of) {
    if (there != expected) {
        throw DoesNotHold(of + ": \"" + there + "\" in place of \"" + expected + "\"");
    }
}

void ExpectThat(bool holds, const std::string& instead) {
    if (!holds) {
        throw DoesNotHold(instead);
    }
}

namespace {

constexpr int ExitHolds = 0;
constexpr int ExitFails = 1;
constexpr int ExitNoService = 3;

constexpr char Footer[] =
    "Example:\n"
    "  navo-conformance --make-certificate conformance\n"
    "  navo-conformance --certificate conformance/server.pem --key conformance/server.key\n\n"
    "Exit status: 0 when all rows hold that could be tried, 1 when not, 2 for a wrong\n"
    "command line, 3 when there is no bus.\n"
    "See navo-conformance(1).";

struct Line {
    Options kit;
    std::vector<std::string> rows;
    bool json = false;
    bool list = false;
    bool strict = false;
    bool asClient = false;
    std::optional<unsigned> asUser;
    std::string certificateFolder;
};

void AddServer(CLI::App& app, Line& line, CommandLine::Hints& hints) {
    const char* const group = "Key server";
    Options& kit = line.kit;
    app.add_option(
           "--make-certificate", line.certificateFolder,
           "Make server.pem, server.key and their authority ca.pem in a folder, and end")
        ->type_name("FOLDER")
        ->group(group);
    CLI::Option* const certificate =
        app.add_option("--certificate", kit.certificate, "Its certificate, which the service trusts")
            ->check(CLI::ExistingFile)
            ->type_name("FILE")
            ->group(group);
    CLI::Option* const key = app.add_option("--key", kit.key, "Its private key")
                                 ->check(CLI::ExistingFile)
                                 ->type_name("FILE")
                                 ->group(group);
    certificate->needs(key);
    key->needs(certificate);
    app.add_option("--listen", kit.listen, "Address that it listens on")->type_name("ADDRESS")->group(group);
    app.add_option("--port", kit.port, "Port that it listens on; any free one by default")
        ->type_name("NUMBER")
        ->check(CLI::Range(0, 65535))
        ->group(group);
    app.add_option("--host", kit.host, "How the service reaches it; as it listens by default")
        ->type_name("NAME")
        ->group(group);
    app.add_flag("--directed", kit.isDirected, "The service has the address of the kit's key server already")
        ->group(group);
    hints[app.add_option("--restore", kit.restored, "Address that the service has in the end")
              ->type_name("URL")
              ->group(group)] = {"https://", "http://"};
}

void AddOptions(CLI::App& app, Line& line, CommandLine::Hints& hints) {
    app.add_option("--bus", line.kit.busAddress, "Bus that the service is on; the system bus by default")
        ->type_name("ADDRESS");
    app.add_option_function<unsigned>(
           "--patience",
           [&line](const unsigned& seconds) { line.kit.patience = std::chrono::seconds(seconds); },
           "Wait this long for each answer; 60 by default")
        ->type_name("SECONDS")
        ->check(CLI::Range(1, 3600));
    app.add_option("--stranger", line.kit.stranger, "Account that the policy does not let in")
        ->type_name("NAME");
    CLI::Option* const only =
        app.add_option("--only", line.rows, "Look at this row alone; may be given several times")
            ->type_name("ROW");
    for (const Row& row : AllRows()) {
        hints[only].push_back(row.name);
    }
    app.add_flag("--json", line.json, "Print one JSON object in place of lines");
    app.add_flag("--list", line.list, "Print the rows, and look at none");
    app.add_flag("--strict", line.strict, "A row that could not be tried counts as one that fails");
    AddServer(app, line, hints);
    // How the kit starts itself as another client.
    app.add_flag("--as-client", line.asClient)->group("");
    app.add_option("--as-user", line.asUser)->group("");
    app.footer(Footer);
}

Finding LookAt(const Row& row, Kit& kit) {
    Finding finding;
    finding.row = row;
    const auto begin = std::chrono::steady_clock::now();
    try {
        row.look(kit);
    } catch (const CannotBeTried& reason) {
        finding.outcome = Outcome::Skipped;
        finding.reason = reason.what();
    } catch (const std::exception& reason) {
        finding.outcome = Outcome::Fails;
        finding.reason = reason.what();
    }
    const auto taken = std::chrono::steady_clock::now() - begin;
    finding.milliseconds =
        static_cast<long>(std::chrono::duration_cast<std::chrono::milliseconds>(taken).count());
    return finding;
}

std::vector<Row> ChosenRows(const std::vector<std::string>& names) {
    std::vector<Row> rows = AllRows();
    for (const std::string& name : names) {
        const auto isNamed = [&name](const Row& row) { return row.name == name; };
        if (std::none_of(rows.begin(), rows.end(), isNamed)) {
            throw std::invalid_argument("there is no row \"" + name + "\"");
        }
    }
    const auto isLeftOut = [&names](const Row& row) {
        return !names.empty() && std::find(names.begin(), names.end(), row.name) == names.end();
    };
    rows.erase(std::remove_if(rows.begin(), rows.end(), isLeftOut), rows.end());
    return rows;
}

bool Restores(Kit& kit) {
    try {
        kit.Restore();
        return true;
    } catch (const std::exception& error) {
        std::cerr << "navo-conformance: the address was not given back: " << error.what() << "\n";
        return false;
    }
}

int Look(const Line& line, const std::vector<Row>& rows) {
    Kit kit(line.kit);
    static_cast<void>(kit.NewCaller());  // whether there is a bus
    std::vector<Finding> findings;
    for (const Row& row : rows) {
        findings.push_back(LookAt(row, kit));
        if (!line.json) {
            std::cout << LineOf(findings.back()) << std::endl;
        }
    }
    const Sums sums = SumsOf(findings);
    std::cout << (line.json ? JsonOf(findings) : LineOf(sums)) << std::endl;
    return Restores(kit) && sums.fail == 0 && (!line.strict || sums.skipped == 0) ? ExitHolds : ExitFails;
}

int MakeCertificate(const Line& line) {
    KeyServer::CertificateOrder order;
    order.folder = line.certificateFolder;
    order.names.insert(
        order.names.end(), {line.kit.listen, line.kit.host.empty() ? "localhost" : line.kit.host});
    try {
        const KeyServer::CertificateFiles files = KeyServer::MakeCertificates(order);
        std::cout << files.authority << " is what the service has to trust\n";
        return ExitHolds;
    } catch (const std::exception& error) {
        std::cerr << "navo-conformance: " << error.what() << "\n";
        return ExitFails;
    }
}

int Run(const CLI::App& app, const Line& line) {
    if (line.asClient) {
        return OtherClient::Serve({line.kit.busAddress, line.kit.patience, line.asUser});
    }
    if (!line.certificateFolder.empty()) {
        return MakeCertificate(line);
    }
    std::vector<Row> rows;
    try {
        rows = ChosenRows(line.rows);
    } catch (const std::invalid_argument& mistake) {
        CommandLine::Say(app, CommandLine::ComplaintOf(app, mistake.what()));
        return CommandLine::ExitUsage;
    }
    if (line.list) {
        for (const Row& row : rows) {
            std::cout << row.name << "\t" << row.sentence << "\n";
        }
        return ExitHolds;
    }
    try {
        return Look(line, rows);
    } catch (const std::exception& error) {
        std::cerr << "navo-conformance: " << error.what() << "\n";
        return ExitNoService;
    }
}

}  // namespace

}  // namespace Conformance

int main(int count, char** arguments) {
    CLI::App app(
        "Drives an installed service from outside and says row by row what holds.", "navo-conformance");
    CommandLine::Hints hints;
    CommandLine::Prepare(app, NAVO_VERSION, hints);
    Conformance::Line line;
    Conformance::AddOptions(app, line, hints);
    if (const std::optional<int> status = CommandLine::ParseOrSay(app, count, arguments)) {
        return *status;
    }
    return Conformance::Run(app, line);
}
