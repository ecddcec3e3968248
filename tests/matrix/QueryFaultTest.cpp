// SPDX-License-Identifier: Apache-2.0
// The jobs beside the server's script, each under every failure of every platform function at every call.
#include <ostream>

#include "tests/matrix/FaultRow.h"

namespace Matrix {

namespace {

constexpr char NewAddress[] = "https://kms.example:8443";

struct Group {
    const char* name;
    FaultyJob job;
    Outcome ordinary;
    std::vector<FaultRow> rows;
};

void PrintTo(const Group& group, std::ostream* stream) {
    *stream << group.name;
}

Outcome Gives(const Map& reply, std::size_t keeps = 0) {
    return {reply, {}, {}, keeps};
}

Outcome Keeping(Outcome outcome, std::size_t handles) {
    outcome.keeps = handles;
    return outcome;
}

// What a job makes of a secure element that cannot be opened, or does not answer.
struct WithoutElement {
    Outcome refused;
    Outcome failed;
    Outcome noTransmission;
    Outcome emptyResponse;  // of a transmission that claims to have worked
    Outcome notClosed;
};

// The rows of the functions that every job with the secure element calls: the channel is opened and closed
// once to look the element up, and once for `sends` commands.
std::vector<FaultRow> ElementRows(std::size_t sends, const Outcome& ordinary, const WithoutElement& without) {
    const Codes failures = Joined(NfcCodes(), ForeignCodes());
    const Codes all = Joined(failures, NfcAccessCodes());
    return {
        {"nfc_se_open_secure_element", NfcAccessCodes(), Each(2, without.refused), {}},
        {"nfc_se_open_secure_element", failures, Each(2, without.failed), {}},
        {"nfc_se_get_atr", Joined(all, EmptySuccess()), Each(2, ordinary), {}},
        {"nfc_se_send_apdu", all, Each(sends, without.noTransmission), {}},
        {"nfc_se_send_apdu", EmptySuccess(), Each(sends, without.emptyResponse), {}},
        {"nfc_se_close_secure_element",
         all,
         {ordinary, without.notClosed},
         {Keeping(without.notClosed, 1), Keeping(without.notClosed, 1)}},
        {"nfc_se_close_secure_element",
         EmptySuccess(),
         {Keeping(ordinary, 1), Keeping(ordinary, 1)},
         {Keeping(ordinary, 2), Keeping(ordinary, 1)}}};
}

Group CplcGroup() {
    const Outcome cplc = Gives(Status(Cplc));
    return {
        "cplc",
        {"cplc", Command("67")},
        cplc,
        ElementRows(
            2, cplc,
            {Gives(Status(ElementRefused)), Gives(Status(UnknownError)), Gives(Status(NoApdu)),
             Gives(Status(Done)), cplc})};
}

Group MemoryGroup() {
    const Outcome memory = Gives({{"MemoryInfo", "123456"}, {"ReturnCode", "123456"}});
    const Outcome none = Gives(Status("0"));
    return {
        "memory",
        {"memory", Command("68")},
        memory,
        ElementRows(2, memory, {none, none, none, none, memory})};
}

Outcome Eligible(const char* message, bool sent = true) {
    return {Status(message), sent ? std::vector<std::string>{"ELIGIBILITY"} : std::vector<std::string>()};
}

Outcome EligibleWithout(const Map& opening) {
    Outcome outcome = Eligible(Done);
    outcome.opening = opening;
    return outcome;
}

// The message's facts about the device: a missing one is sent empty. The SIM is asked for its operator, its
// country and its roaming, in that order.
std::vector<FaultRow> EligibilityFactRows() {
    const Codes telephony = Joined(TelephonyCodes(), EmptySuccess());
    const Codes info = Joined(SystemInfoCodes(), EmptySuccess());
    const Outcome noOperator = EligibleWithout({{"deviceMnc", ""}, {"deviceMcc", "262"}});
    const Outcome noCountry = EligibleWithout({{"deviceMnc", "01"}, {"deviceMcc", ""}});
    const Outcome notRoaming = EligibleWithout({{"deviceMcc", "262"}, {"deviceRoaming", "false"}});
    const Outcome nothing =
        EligibleWithout({{"deviceMnc", ""}, {"deviceMcc", ""}, {"deviceRoaming", "false"}});
    const Outcome works = Eligible(Done);
    return {
        {"telephony_init", telephony, {noOperator, noCountry, notRoaming}, {nothing, noCountry, notRoaming}},
        {"telephony_network_get_mnc", telephony, {noOperator}, {}},
        {"telephony_network_get_mcc", telephony, {noCountry}, {}},
        {"telephony_network_get_roaming_status", telephony, {notRoaming}, {}},
        {"telephony_deinit",
         telephony,
         Each(3, Keeping(works, 1)),
         {Keeping(works, 3), Keeping(works, 2), Keeping(works, 1)}},
        {"system_info_get_platform_string", info, {EligibleWithout({{"deviceModel", ""}})}, {}},
        {"system_info_get_value_string", info, {EligibleWithout({{"deviceCodeVersion", ""}})}, {}},
        {"vconf_get_str", VconfCodes(), {EligibleWithout({{"deviceCsc", ""}})}, {}}};
}

std::vector<FaultRow> EligibilityNetworkRows() {
    const Codes codes = Joined(ConnectionCodes(), EmptySuccess());
    const Outcome noNetwork = Eligible(NetworkUnavailable, false);
    return {
        {"connection_create", codes, {noNetwork}, {}},
        {"connection_get_type", codes, {noNetwork}, {}},
        {"connection_get_wifi_state", codes, {noNetwork}, {}},
        {"connection_get_cellular_state", codes, {noNetwork}, {}, "type=cellular"},
        {"connection_get_bt_state", codes, {noNetwork}, {}, "type=bluetooth"},
        {"connection_get_ethernet_state", codes, {Eligible(Done)}, {}, "type=ethernet"},
        {"connection_get_proxy", codes, {Eligible(Done)}, {}},
        {"connection_destroy", codes, {Keeping(Eligible(Done), 1)}, {}},
        {"curl_easy_init", {"-1"}, {Eligible(ProtocolError, false)}, {}}};
}

Group EligibilityGroup() {
    Group group = {
        "eligibility",
        {"eligibility", Command("69"), {Result("00000001")}},
        Eligible(Done),
        ElementRows(
            2, Eligible(Done),
            {Eligible(ElementRefused, false), Eligible(UnknownError, false), Eligible(UnknownError, false),
             Eligible(UnknownError, false), Eligible(Done)})};
    for (const std::vector<FaultRow>& rows : {EligibilityFactRows(), EligibilityNetworkRows()}) {
        group.rows.insert(group.rows.end(), rows.begin(), rows.end());
    }
    return group;
}

// Privileged commands: whatever the platform does not answer about the package's certificate, the client is
// not trusted.
std::vector<FaultRow> TrustRows(const Outcome& ordinary) {
    const Outcome denied = Gives(Status(WrongCommand));
    const Codes info = Joined(PackageInfoCodes(), EmptySuccess());
    const Codes certificate = Joined(CertificateCodes(), EmptyCertificateSuccess());
    return {
        {"pkgmgrinfo_pkginfo_create_certinfo", info, {denied}, {}},
        {"pkgmgrinfo_pkginfo_load_certinfo", info, {denied}, {}},
        {"pkgmgrinfo_pkginfo_get_cert_value", info, {denied}, {}},
        {"pkgmgrinfo_pkginfo_destroy_certinfo", info, {Keeping(ordinary, 1)}, {}},
        {"certsvc_instance_new", certificate, {denied}, {}},
        {"certsvc_certificate_new_from_memory", certificate, {denied}, {}},
        {"certsvc_certificate_get_visibility", certificate, {denied}, {}},
        {"certsvc_instance_free", {"-1", "1"}, {Keeping(ordinary, 1)}, {}},
        {"certsvc_certificate_free", {"-1", "1"}, {ordinary}, {}}};
}

Outcome Phone(const Map& changed = {}) {
    Map facts = {
        {"deviceModel", "Test Wearable"},
        {"location", "GB"},
        {"deviceCsc", "TST"},
        {"deviceMnc", "01"},
        {"deviceMcc", "262"},
        {"deviceCodeVersion", "TESTBUILD1"}};
    for (const auto& fact : changed) {
        facts[fact.first] = fact.second;
    }
    facts["agentVersion"] = "1.0.19";
    std::string text;
    for (const char* key :
         {"deviceModel", "location", "agentVersion", "deviceCsc", "deviceMnc", "deviceMcc",
          "deviceCodeVersion"}) {
        text += (text.empty() ? "" : "\n") + std::string(key) + ": " + facts[key];
    }
    return Gives({{"phoneInfo", text}, {"ReturnCode", Done}});
}

Group PhoneGroup() {
    const Codes telephony = Joined(TelephonyCodes(), EmptySuccess());
    const Codes info = Joined(SystemInfoCodes(), EmptySuccess());
    const Outcome noOperator = Phone({{"deviceMnc", ""}});
    const Outcome noCountry = Phone({{"deviceMcc", ""}});
    const Outcome neither = Phone({{"deviceMnc", ""}, {"deviceMcc", ""}});
    Group group = {
        "phone",
        {"phone", Command("1F4")},
        Phone(),
        {{"telephony_init", telephony, {noOperator, noCountry}, {neither, noCountry}},
         {"telephony_network_get_mnc", telephony, {noOperator}, {}},
         {"telephony_network_get_mcc", telephony, {noCountry}, {}},
         {"telephony_deinit",
          telephony,
          Each(2, Keeping(Phone(), 1)),
          {Keeping(Phone(), 2), Keeping(Phone(), 1)}},
         {"system_info_get_platform_string", info, {Phone({{"deviceModel", ""}})}, {}},
         {"system_info_get_value_string", info, {Phone({{"deviceCodeVersion", ""}})}, {}},
         {"system_settings_get_value_string",
          Joined(SettingsCodes(), EmptySuccess()),
          {Phone({{"location", ""}})},
          {}},
         {"vconf_get_str", VconfCodes(), {Phone({{"deviceCsc", ""}})}, {}}}};
    const std::vector<FaultRow> trust = TrustRows(Phone());
    group.rows.insert(group.rows.end(), trust.begin(), trust.end());
    return group;
}

Group AddressGroup() {
    Outcome changed = Gives(Status(Done));
    changed.newAddress = NewAddress;
    return {"address", {"address", {{"Cmd", "1F5"}, {"hostAddr", NewAddress}}}, changed, TrustRows(changed)};
}

Outcome Ccm(const char* verdict, const char* message) {
    return Gives({{"LccmReturnCode", verdict}, {"ReturnCode", message}});
}

// The script is the empty SELECT and the query for the CPLC.
Group CcmGroup() {
    const Outcome played = Ccm("0", Done);
    Group group = {
        "ccm",
        {"ccm", {{"Cmd", "90"}, {"CcmScriptData", "C55A5F5AFE5E5A5A5A5FDA90C5255A0A"}}},
        played,
        ElementRows(
            2, played,
            {Ccm("-3", ElementRefused), Ccm("-3", UnknownError), Ccm("-5", NoApdu), Ccm("-5", Done),
             Ccm("0", ElementNotClosed)})};
    const std::vector<FaultRow> library = {
        {"openSecureSpi", {"0", "-1", "2", "12345", "0x80000000"}, {Ccm("-3", UnknownError)}, {}},
        {"openSecureSpi", {"1"}, {Ccm("-4", UnknownError)}, {}},
        {"closeSecureSpi", {"0", "-1", "1", "2", "12345"}, {played}, {}},
        {"handleCCM", {"-1", "1", "2", "12345", "0x80000000"}, {Ccm("-4", UnknownError)}, {}},
        // An unconverted script is one odd record, whose command the card refuses.
        {"handleCCM", {"0"}, {Ccm("-5", Done)}, {}}};
    group.rows.insert(group.rows.end(), library.begin(), library.end());
    return group;
}

constexpr char KeyValue[] = "000102030405060708090A0B0C0D0E0F";

const Map& KeyFields() {
    static const Map fields = {{"keyName", "wallet"}, {"keyType", "1"},       {"injectionType", "1"},
                               {"encodingType", "1"}, {"dalmData", KeyValue}, {"dalmDataSize", "64"}};
    return fields;
}

Map KeyCommand(const std::string& code) {
    Map request = KeyFields();
    request["Cmd"] = code;
    return request;
}

// The verdict of the library's entry point is the reply, whatever number it is.
std::vector<FaultRow> VerdictRows(const std::string& function, const Codes& codes) {
    std::vector<FaultRow> rows;
    for (const std::string& code : codes) {
        rows.push_back({function, {code}, {Gives(Status(code))}, {}});
    }
    return rows;
}

std::vector<Group> KeyGroups() {
    const Codes negative = {"-1", "-101", "-109", "0", "-2147483648"};
    const Codes any = Joined(negative, {"1", "12345", "2147483647"});
    const std::vector<Map> withKey = {KeyCommand("3F0")};
    const std::vector<Map> release = {Command("3F4")};
    const std::vector<Map> withSession = {KeyCommand("3F0"), KeyCommand("3F3")};
    Group uid = {
        "key_uid",
        {"key uid", KeyCommand("3F2"), {}, withKey},
        Gives({{"ReturnCode", "16"}, {"dalmData", "645694AFF256A93A"}}),
        VerdictRows("dalm_readInjectedKeyUID", negative)};
    // No data behind the number that promises some: the buffer's zeros.
    uid.rows.push_back(
        {"dalm_readInjectedKeyUID", {"5"}, {Gives({{"ReturnCode", "5"}, {"dalmData", ""}})}, {}});
    Group session = {
        "key_session",
        {"key session", KeyCommand("3F3"), {}, withKey, release},
        Gives({{"ReturnCode", "16"}, {"dalmData", KeyValue}}),
        VerdictRows("dalm_createGetKeySession", negative)};
    session.rows.push_back(
        {"dalm_createGetKeySession", {"2"}, {Gives({{"ReturnCode", "2"}, {"dalmData", "0000"}})}, {}});
    session.rows.push_back(
        {"dalm_createGetKeySession",
         {"2147483647"},
         {Gives({{"ReturnCode", "2147483647"}, {"dalmData", std::string(128, '0')}})},
         {}});
    return {
        {"key_injection",
         {"key injection", KeyCommand("3F0"), {}, withKey},
         Gives(Status("-102")),
         VerdictRows("dalm_keyInjection", any)},
        {"key_verification",
         {"key verification", KeyCommand("3F1"), {}, withKey},
         Gives(Status("0")),
         VerdictRows("dalm_injectedKeyVerification", any)},
        uid,
        session,
        {"key_release",
         {"key release", Command("3F4"), {}, withSession},
         Gives(Status("0")),
         VerdictRows("dalm_releaseGetKeySession", any)}};
}

std::vector<Group> Groups() {
    const Outcome refused = Gives(Status(WrongCommand));
    std::vector<Group> groups = {
        {"status", {"status", Command("66")}, refused, {}},
        CplcGroup(),
        MemoryGroup(),
        EligibilityGroup(),
        PhoneGroup(),
        AddressGroup(),
        CcmGroup()};
    const std::vector<Group> keys = KeyGroups();
    groups.insert(groups.end(), keys.begin(), keys.end());
    return groups;
}

class QueryFault : public MatrixWorld, public testing::WithParamInterface<Group> {};

}  // namespace

TEST_P(QueryFault, AtEveryCallHasOneReplyAndLeavesNothingBehind) {
    std::vector<Case> cases;
    std::vector<std::string> called;
    for (const FaultRow& row : GetParam().rows) {
        const std::vector<Case> more = CasesOf(GetParam().job, row);
        cases.insert(cases.end(), more.begin(), more.end());
        called.push_back(row.function);
    }
    const std::vector<Case> uncalled = CasesOfUncalled(GetParam().job, GetParam().ordinary, called);
    cases.insert(cases.end(), uncalled.begin(), uncalled.end());
    const std::vector<Case> unlogged =
        CasesOf(GetParam().job, {"dlog_vprint", {"-1", "-22"}, Each(4, GetParam().ordinary), {}});
    cases.insert(cases.end(), unlogged.begin(), unlogged.end());
    CheckAll(cases);
}

INSTANTIATE_TEST_SUITE_P(
    Of, QueryFault, testing::ValuesIn(Groups()),
    [](const testing::TestParamInfo<Group>& group) { return std::string(group.param.name); });

class MissingLibrary : public MatrixWorld {};

TEST_F(MissingLibrary, OrAnyMissingEntryPointIsAVerdict) {
    std::vector<Case> cases;
    for (const char* missing : {"library", "openSecureSpi", "closeSecureSpi", "handleCCM"}) {
        Case row = {std::string("ccm without ") + missing, {{"Cmd", "90"}}, Ccm("-2", UnknownError).reply};
        row.sections = std::string("[secure-spi]\nmissing=") + missing + "\n";
        cases.push_back(row);
    }
    const Map entryPoints = {
        {"3F0", "dalm_keyInjection"},
        {"3F1", "dalm_injectedKeyVerification"},
        {"3F2", "dalm_readInjectedKeyUID"},
        {"3F3", "dalm_createGetKeySession"},
        {"3F4", "dalm_releaseGetKeySession"}};
    for (const auto& entryPoint : entryPoints) {
        for (const std::string& missing : {std::string("library"), entryPoint.second}) {
            Case row = {entryPoint.first + " without " + missing, KeyCommand(entryPoint.first), Status("-2")};
            row.sections = "[key-provisioning]\nmissing=" + missing + "\n";
            cases.push_back(row);
        }
    }
    CheckAll(cases);
}

}  // namespace Matrix
