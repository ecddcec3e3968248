// SPDX-License-Identifier: Apache-2.0
// A script run by the server, under every failure of every platform function at every call.
#include <ostream>

#include "tests/matrix/FaultRow.h"

namespace Matrix {

namespace {

constexpr char NoAnswer[] = "NEXTAPDU 21_SDAPIException.";

// Three sets of commands, and what the server gets when nothing fails.
const std::deque<HttpReaction>& Sets() {
    static const std::deque<HttpReaction> sets = {
        CommandSet("/0180E2000001AA/0180CA006600"), CommandSet("/0184820000"),
        CommandSet("/0180F0000000/0100A4040000")};
    return sets;
}

const std::vector<std::string>& Messages() {
    static const std::vector<std::string> messages = {
        "INITIALIZEAPDU", "NEXTAPDU /019000/01ABCD9000", "NEXTAPDU /019000", "NEXTAPDU /016A88/019000"};
    return messages;
}

const FaultyJob& Script() {
    static const FaultyJob job = [] {
        FaultyJob ordinary = {"script", ScriptRequest(), Sets()};
        ordinary.reactions.push_back(Result("00000001"));
        return ordinary;
    }();
    return job;
}

std::vector<std::string> First(std::size_t count) {
    return {Messages().begin(), Messages().begin() + static_cast<std::ptrdiff_t>(count)};
}

Outcome Ends(const char* message, std::size_t messages, std::size_t keeps = 0) {
    return {Status(message), First(messages), {}, keeps};
}

Outcome Works(std::size_t keeps = 0) {
    return Ends(Done, Messages().size(), keeps);
}

// A member of the first message is missing its value.
Outcome Lacks(const Map& opening) {
    Outcome outcome = Works();
    outcome.opening = opening;
    return outcome;
}

// Set in which the command of a call of nfc_se_send_apdu stands; the first two calls are the CPLC query's.
constexpr std::size_t SetOfSend[] = {0, 0, 1, 1, 2, 3, 3};

// The card's silence reaches the server, which goes on.
Outcome ServerGoesOn(std::size_t firstSilentSet, std::size_t lastSilentSet) {
    Outcome outcome = Works();
    for (std::size_t set = firstSilentSet; set <= lastSilentSet; ++set) {
        outcome.sent[set] = NoAnswer;
    }
    return outcome;
}

// The server gives up at the first set that fails.
Outcome ServerGivesUp(std::size_t silentSet) {
    Outcome outcome = Ends(CardJobFailed, silentSet + 1);
    outcome.sent[silentSet] = NoAnswer;
    outcome.reactions.assign(Sets().begin(), Sets().begin() + static_cast<std::ptrdiff_t>(silentSet));
    outcome.reactions.push_back(Result("90202001"));
    return outcome;
}

FaultRow Sends(const Codes& codes, const char* withoutCplc, bool serverGoesOn) {
    FaultRow row = {"nfc_se_send_apdu", codes, {}, {}};
    for (const std::size_t set : SetOfSend) {
        if (set == 0) {
            row.once.push_back(Ends(withoutCplc, 0));
            row.onwards.push_back(Ends(withoutCplc, 0));
        } else {
            row.once.push_back(serverGoesOn ? ServerGoesOn(set, set) : ServerGivesUp(set));
            row.onwards.push_back(serverGoesOn ? ServerGoesOn(set, Sets().size()) : ServerGivesUp(set));
        }
    }
    return row;
}

// The network is asked for before each message.
std::vector<Outcome> LosesTheNetwork() {
    return {
        Ends(NetworkUnavailable, 0), Ends(NetworkUnavailable, 1), Ends(NetworkUnavailable, 2),
        Ends(NetworkUnavailable, 3)};
}

FaultRow LosesTheNetworkAt(const char* function, const char* network) {
    return {function, Joined(ConnectionCodes(), EmptySuccess()), LosesTheNetwork(), {}, network};
}

struct Group {
    const char* name;
    std::vector<FaultRow> rows;
};

std::vector<Group> SecureElementGroups() {
    const Codes failures = Joined(NfcCodes(), ForeignCodes());
    const Codes all = Joined(failures, NfcAccessCodes());
    const FaultRow refused = {
        "nfc_se_open_secure_element", NfcAccessCodes(), Each(2, Ends(ElementRefused, 0)), {}};
    const FaultRow failed = {"nfc_se_open_secure_element", failures, Each(2, Ends(UnknownError, 0)), {}};
    // Success without a channel: the look-up finds none to close, and the job none to send on.
    const FaultRow hollow = {
        "nfc_se_open_secure_element",
        EmptySuccess(),
        {Works(), Ends(UnknownError, 0)},
        {Ends(UnknownError, 0), Ends(UnknownError, 0)}};
    // The look-up's channel that stays open is the one that the job joins; every close after it is one more
    // try.
    const FaultRow stuck = {
        "nfc_se_close_secure_element",
        all,
        {Works(), Ends(ElementNotClosed, 4)},
        {Ends(ElementNotClosed, 4, 1), Ends(ElementNotClosed, 4, 1)}};
    const FaultRow lost = {
        "nfc_se_close_secure_element", EmptySuccess(), {Works(1), Works(1)}, {Works(2), Works(1)}};
    return {
        {"nfc_se_open_secure_element", {refused, failed, hollow}},
        {"nfc_se_get_atr", {{"nfc_se_get_atr", Joined(all, EmptySuccess()), Each(2, Works()), {}}}},
        {"nfc_se_send_apdu_and_the_server_goes_on",
         {Sends(all, NoApdu, true), Sends(EmptySuccess(), Done, true)}},
        {"nfc_se_send_apdu_and_the_server_gives_up",
         {Sends(all, NoApdu, false), Sends(EmptySuccess(), Done, false)}},
        {"nfc_se_close_secure_element", {stuck, lost}}};
}

std::vector<Group> NetworkGroups() {
    const Codes all = Joined(ConnectionCodes(), EmptySuccess());
    // Each connection that the platform does not take back is a handle of its own.
    const FaultRow kept = {
        "connection_destroy", all, Each(4, Works(1)), {Works(4), Works(3), Works(2), Works(1)}};
    return {
        {"connection_create", {LosesTheNetworkAt("connection_create", "type=wifi")}},
        {"connection_get_type", {LosesTheNetworkAt("connection_get_type", "type=wifi")}},
        {"connection_get_wifi_state", {LosesTheNetworkAt("connection_get_wifi_state", "type=wifi")}},
        {"connection_get_cellular_state",
         {LosesTheNetworkAt("connection_get_cellular_state", "type=cellular")}},
        {"connection_get_bt_state",
         {{"connection_get_bt_state", all, {Ends(NetworkUnavailable, 0)}, {}, "type=bluetooth"}}},
        {"connection_get_ethernet_state",
         {{"connection_get_ethernet_state", all, Each(4, Works()), {}, "type=ethernet"}}},
        {"connection_get_proxy", {{"connection_get_proxy", all, Each(4, Works()), {}}}},
        {"connection_destroy", {kept}}};
}

std::vector<Group> FactGroups() {
    const Outcome noCountry = Lacks({{"deviceMcc", ""}, {"deviceMnc", "01"}});
    const Outcome noOperator = Lacks({{"deviceMcc", "262"}, {"deviceMnc", ""}});
    const Outcome neither = Lacks({{"deviceMcc", ""}, {"deviceMnc", ""}});
    const Codes telephony = Joined(TelephonyCodes(), EmptySuccess());
    return {
        {"telephony_init", {{"telephony_init", telephony, {noOperator, noCountry}, {neither, noCountry}}}},
        {"telephony_queries",
         {{"telephony_network_get_mnc", telephony, {noOperator}, {}},
          {"telephony_network_get_mcc", telephony, {noCountry}, {}},
          {"telephony_deinit", telephony, {Works(1), Works(1)}, {Works(2), Works(1)}}}},
        {"device_facts",
         {{"system_info_get_platform_string",
           Joined(SystemInfoCodes(), EmptySuccess()),
           {Lacks({{"deviceModel", ""}})},
           {}},
          {"system_info_get_value_string",
           Joined(SystemInfoCodes(), EmptySuccess()),
           {Lacks({{"deviceCodeVersion", ""}})},
           {}},
          {"system_settings_get_value_string",
           Joined(SettingsCodes(), EmptySuccess()),
           {Lacks({{"location", ""}})},
           {}},
          {"vconf_get_str", VconfCodes(), {Lacks({{"deviceCsc", ""}})}, {}}}},
        {"curl_easy_init",
         {{"curl_easy_init",
           {"-1"},
           {Ends(ProtocolError, 0), Ends(ProtocolError, 1), Ends(ProtocolError, 2), Ends(ProtocolError, 3)},
           {}}}},
        {"dlog_vprint", {{"dlog_vprint", {"-1", "-22", "0"}, Each(40, Works()), {}}}}};
}

std::vector<Group> Groups() {
    std::vector<Group> groups = SecureElementGroups();
    for (const std::vector<Group>& more : {NetworkGroups(), FactGroups()}) {
        groups.insert(groups.end(), more.begin(), more.end());
    }
    return groups;
}

void PrintTo(const Group& group, std::ostream* stream) {
    *stream << group.name;
}

class ScriptFault : public MatrixWorld, public testing::WithParamInterface<Group> {};

}  // namespace

TEST_P(ScriptFault, AtEveryCallHasOneReplyAndLeavesNothingBehind) {
    std::vector<Case> cases;
    for (const FaultRow& row : GetParam().rows) {
        const std::vector<Case> more = CasesOf(Script(), row);
        cases.insert(cases.end(), more.begin(), more.end());
    }
    CheckAll(cases);
}

INSTANTIATE_TEST_SUITE_P(
    Of, ScriptFault, testing::ValuesIn(Groups()),
    [](const testing::TestParamInfo<Group>& group) { return std::string(group.param.name); });

class ServerScript : public MatrixWorld {};

TEST_F(ServerScript, EndsAlikeWhenThePlatformHasNoTextForItsFailure) {
    std::vector<Case> cases;
    const std::vector<FaultRow> rows = {
        {"nfc_se_open_secure_element", {"-1"}, Each(2, Ends(UnknownError, 0)), {}},
        Sends({"-1"}, NoApdu, true),
        {"connection_create", {"-1"}, LosesTheNetwork(), {}},
        {"connection_get_type", {"-1"}, LosesTheNetwork(), {}},
        {"connection_get_ethernet_state", {"-1"}, Each(4, Works()), {}, "type=ethernet"}};
    for (const FaultRow& row : rows) {
        for (Case each : CasesOf(Script(), row)) {
            each.label += " and no text for it";
            each.faults.push_back({"get_error_message", "-1", 1, 0});
            cases.push_back(each);
        }
    }
    CheckAll(cases);
}

TEST_F(ServerScript, CallsNoFunctionOfThePlatformThatItDoesNotNeed) {
    CheckAll(CasesOfUncalled(
        Script(), Works(),
        {"connection_create", "connection_destroy", "connection_get_proxy", "connection_get_type",
         "connection_get_wifi_state", "curl_easy_init", "nfc_se_close_secure_element", "nfc_se_get_atr",
         "nfc_se_open_secure_element", "nfc_se_send_apdu", "system_info_get_platform_string",
         "system_info_get_value_string", "system_settings_get_value_string", "telephony_deinit",
         "telephony_init", "telephony_network_get_mcc", "telephony_network_get_mnc", "vconf_get_str"}));
}

}  // namespace Matrix
