// SPDX-License-Identifier: Apache-2.0
#include "bench/floors/ScriptFloor.h"

#include <json-glib/json-glib.h>
#include <net_connection.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <nfc.h>
#include <nfc_internal.h>
#include <openssl/sha.h>
#include <sys/socket.h>
#include <system_info.h>
#include <system_info_internal.h>
#include <system_settings.h>
#include <telephony.h>
#include <vconf.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <ctime>
#include <memory>
#include <stdexcept>
#include <utility>
#include <vector>

#include "bench/floors/Log.h"
#include "bench/floors/Owners.h"

namespace {

using Floor::Debug;
using Floor::Info;
using Members = std::vector<std::pair<std::string, std::string>>;

constexpr char Agent[] = "/src/app/Agent.cpp";
constexpr char Net[] = "/src/app/Network.cpp";
constexpr char Platform[] = "/src/platform/tizen/TizenNetwork.cpp";
constexpr char Runtime[] = "/src/common/tizen/Runtime.cpp";
constexpr char Reader[] = "/src/platform/tizen/SeReader_NFC.cpp";

constexpr char CookieFolder[] = "/proc/self/cwd/tmp/com.orvenco.navoa/.ssid";
constexpr std::size_t SeIdLength = 36;
constexpr std::size_t SeedLength = 50;
constexpr int OwnerOnly = 0700;

[[noreturn]] void Fail(const std::string& what) {
    throw std::runtime_error(what);
}

std::string HexText(const unsigned char* bytes, std::size_t count) {
    constexpr char Digits[] = "0123456789ABCDEF";
    std::string text(2 * count, '\0');
    for (std::size_t at = 0; at < count; ++at) {
        text[2 * at] = Digits[bytes[at] >> 4];
        text[2 * at + 1] = Digits[bytes[at] & 0x0F];
    }
    return text;
}

unsigned char NibbleOf(char digit) {
    return static_cast<unsigned char>(digit <= '9' ? digit - '0' : (digit | 0x20) - 'a' + 10);
}

class SecureElement {
public:
    SecureElement() {
        Debug(
            PLACED("/src/platform/tizen/Se.cpp", 6, "CreateSeReader", "Creating a SE Reader of type %d"), 0);
        Debug(PLACED(Reader, 65, "Open", "Opening SE"));
        if (nfc_se_open_secure_element_internal(NFC_SE_TYPE_ESE, &handle) != NFC_ERROR_NONE) {
            Fail("no secure element");
        }
        unsigned char* answer = nullptr;  // stays the platform's
        unsigned length = 0;
        nfc_se_get_atr_internal(handle, &answer, &length);
        Debug(PLACED(Reader, 88, "Open", "Starting to work with SE of type: %d"), 1);
    }
    ~SecureElement() {
        Debug(PLACED(Reader, 104, "Close", "Closing SE"));
        nfc_se_close_secure_element_internal(handle);
    }
    SecureElement(const SecureElement&) = delete;
    SecureElement& operator=(const SecureElement&) = delete;

    std::string Exchange(const char* digits, std::size_t count) {
        Debug(PLACED(Reader, 119, "Apdu", "Sending command to SE"));
        command.resize(count / 2);
        for (std::size_t at = 0; at < command.size(); ++at) {
            command[at] =
                static_cast<unsigned char>(NibbleOf(digits[2 * at]) << 4 | NibbleOf(digits[2 * at + 1]));
        }
        unsigned char* answer = nullptr;
        unsigned length = 0;
        const int error = nfc_se_send_apdu_internal(
            handle, command.data(), static_cast<unsigned>(command.size()), &answer, &length);
        const Floor::Allocated<unsigned char> owned(answer);
        return error == NFC_ERROR_NONE ? HexText(answer, length) : std::string();
    }

    // Without tag, length and status word.
    std::string ProductionData() {
        Exchange("00A4040000", 10);
        const std::string response = Exchange("80CA9F7F00", 10);
        return response.size() > 10 ? response.substr(6, response.size() - 10) : std::string();
    }

private:
    nfc_se_h handle = nullptr;
    std::vector<unsigned char> command;
};

std::string Taken(char* text) {
    const Floor::Allocated<char> owned(text);
    return text != nullptr ? text : "";
}

std::string Now() {
    const std::time_t now = std::time(nullptr);
    const std::tm* const utc = std::gmtime(&now);
    std::array<char, 80> text{};
    std::snprintf(
        text.data(), text.size(), "%02d%02d%02d%02d%02d%02d", utc->tm_year % 100, utc->tm_mon + 1,
        utc->tm_mday, utc->tm_hour, utc->tm_min, utc->tm_sec);
    return text.data();
}

std::string OfSim(int (*get)(telephony_h, char**), const char* function, const char* title) {
    telephony_handle_list_s list = {};
    char* text = nullptr;
    if (telephony_init(&list) == TELEPHONY_ERROR_NONE) {
        if (list.count > 0) {
            get(list.handle[0], &text);
        }
        telephony_deinit(&list);
    }
    std::string value = Taken(text);
    Debug(PLACED(Runtime, 130, function, "%s: %s"), title, value.c_str());
    return value;
}

std::string Location() {
    char* text = nullptr;
    system_settings_get_value_string(SYSTEM_SETTINGS_KEY_LOCALE_COUNTRY, &text);
    const std::string locale = Taken(text);
    std::string country = locale.substr(locale.find('_') + 1);
    Debug(PLACED(Runtime, 152, "GetCountryCode", "Country Code: %s"), country.c_str());
    return country;
}

std::string Model() {
    char* text = nullptr;
    system_info_get_platform_string("http://tizen.org/system/model_name", &text);
    std::string model = Taken(text);
    Debug(PLACED(Runtime, 158, "GetModelName", "Model Name: %s"), model.c_str());
    return model;
}

std::string SalesCode() {
    std::string code = Taken(vconf_get_str("db/csc/salescode"));
    Debug(PLACED(Runtime, 106, "GetCscSalesCode", "Sales Code: %s"), code.c_str());
    return code;
}

std::string BuildVersion() {
    char* text = nullptr;
    system_info_get_value_string(SYSTEM_INFO_KEY_BUILD_STRING, &text);
    std::string version = Taken(text);
    Debug(PLACED(Runtime, 171, "GetDeviceBuildVersion", "Device PDA build version: %s"), version.c_str());
    return version;
}

std::string Repeated(const std::string& text) {
    std::string repeated;
    while (repeated.size() <= SeedLength) {
        repeated += text;
    }
    return repeated;
}

std::string SessionKey(const std::string& time, const std::string& seed) {
    std::string mixed = Repeated(time);
    const std::string other = Repeated(seed);
    mixed.resize(std::min(mixed.size(), other.size()));
    for (std::size_t at = 0; at < mixed.size(); ++at) {
        mixed[at] = static_cast<char>(mixed[at] ^ other[at]);
    }
    std::array<unsigned char, SHA256_DIGEST_LENGTH> digest{};
    SHA256(reinterpret_cast<const unsigned char*>(mixed.data()), mixed.size(), digest.data());
    return HexText(digest.data(), digest.size());
}

std::string Message(const Members& members) {
    JsonObject* const object = json_object_new();
    for (const auto& [name, value] : members) {
        json_object_set_string_member(object, name.c_str(), value.c_str());
    }
    const Floor::Owned<JsonNode, json_node_free> root(json_node_new(JSON_NODE_OBJECT));
    json_node_take_object(root.get(), object);
    const Floor::Owned<JsonGenerator, g_object_unref> generator(json_generator_new());
    json_generator_set_root(generator.get(), root.get());
    const Floor::Owned<char, g_free> text(json_generator_to_data(generator.get(), nullptr));
    std::string body = std::string("data=") + text.get();
    body.erase(std::remove(body.begin(), body.end(), ' '), body.end());
    return body;
}

struct ServerAnswer {
    std::string code;
    std::string commandSet;
};

std::string MemberOf(JsonObject* object, const char* name) {
    const bool isThere = json_object_has_member(object, name) != FALSE;
    return isThere ? json_object_get_string_member(object, name) : "";
}

ServerAnswer Parsed(const std::string& text) {
    const Floor::Owned<JsonParser, g_object_unref> parser(json_parser_new());
    if (json_parser_load_from_data(parser.get(), text.data(), static_cast<gssize>(text.size()), nullptr) ==
        FALSE) {
        Fail("the server's answer is not understood");
    }
    JsonObject* const object = json_node_get_object(json_parser_get_root(parser.get()));
    return {MemberOf(object, "resultCode"), MemberOf(object, "cApduSet")};
}

std::string ProxyOfNetwork() {
    Debug(PLACED(Net, 43, "ConnectionUp", "Trying to set up Internet connection"));
    Debug(PLACED(Platform, 92, "OpenConnection", "Setting up a network"));
    connection_h network = nullptr;
    connection_create(&network);
    connection_type_e type = CONNECTION_TYPE_DISCONNECTED;
    connection_get_type(network, &type);
    Debug(PLACED(Platform, 16, "OpenConnection", "WiFi connection"));
    connection_wifi_state_e state = CONNECTION_WIFI_STATE_DEACTIVATED;
    connection_get_wifi_state(network, &state);
    Debug(PLACED(Platform, 116, "OpenConnection", "Have Internet connection"));
    Debug(PLACED(Net, 47, "ConnectionUp", "Using interface: %s"), "Tizen network");
    Debug(PLACED(Platform, 125, "GetProxyAddress", "Determining a proxy address"));
    char* text = nullptr;
    connection_get_proxy(network, CONNECTION_ADDRESS_FAMILY_IPV4, &text);
    std::string proxy = Taken(text);
    Debug(PLACED(Platform, 132, "GetProxyAddress", "Proxy: %s"), proxy.c_str());
    Debug(PLACED(Net, 71, "GetProxyUrl", "Proxy: %s"), proxy.c_str());
    connection_destroy(network);
    Debug(PLACED(Net, 61, "ConnectionDown", "Connection down on interface: %s"), "Tizen network");
    return proxy;
}

std::size_t Append(char* data, std::size_t size, std::size_t count, void* text) {
    static_cast<std::string*>(text)->append(data, size * count);
    return size * count;
}

int LimitSilence(void*, curl_socket_t socket, curlsocktype) {
    const int limit = 20000;
    setsockopt(socket, IPPROTO_TCP, TCP_USER_TIMEOUT, &limit, sizeof limit);
    return CURL_SOCKOPT_OK;
}

// Keeps the connection for the scripts that follow.
CURLSH* ShareOfProcess() {
    static const Floor::ShareHandle share = [] {
        Floor::ShareHandle made(curl_share_init());
        curl_share_setopt(made.get(), CURLSHOPT_SHARE, CURL_LOCK_DATA_CONNECT);
        curl_share_setopt(made.get(), CURLSHOPT_SHARE, CURL_LOCK_DATA_SSL_SESSION);
        return made;
    }();
    return share.get();
}

// The exchanges of one script: one easy handle each, over one connection.
class Server {
public:
    Server(const std::string& address, std::string client) : url(address + "/IssueCard.do") {
        const auto isReplaced = [](char character) {
            return std::string(";:,/\\*+").find(character) != std::string::npos;
        };
        std::replace_if(client.begin(), client.end(), isReplaced, '_');
        cookies = std::string(CookieFolder) + "/" + client;
    }

    ServerAnswer Post(const std::string& body) {
        const std::string proxy = ProxyOfNetwork();
        errors[0] = '\0';
        received.clear();
        const Floor::HeaderList headers = Headers();
        const Floor::EasyHandle curl(curl_easy_init());
        SetRequest(curl.get(), body, headers.get(), proxy);
        SetSurroundings(curl.get());
        const CURLcode code = curl_easy_perform(curl.get());
        if (code != CURLE_OK) {
            Fail(std::string(curl_easy_strerror(code)) + ": " + errors.data());
        }
        return Parsed(Plain(curl.get()));
    }

private:
    static Floor::HeaderList Headers() {
        curl_slist* list = curl_slist_append(nullptr, "User-Agent: libcurl");
        list = curl_slist_append(list, "Accept: */*");
        return Floor::HeaderList(curl_slist_append(list, "Content-type: application/x-www-form-urlencoded"));
    }

    void SetRequest(CURL* curl, const std::string& body, curl_slist* headers, const std::string& proxy) {
        curl_easy_setopt(curl, CURLOPT_ERRORBUFFER, errors.data());
        if (!proxy.empty()) {
            curl_easy_setopt(curl, CURLOPT_PROXY, proxy.c_str());
        }
        curl_easy_setopt(curl, CURLOPT_URL, url.c_str());
        curl_easy_setopt(curl, CURLOPT_POSTFIELDSIZE, static_cast<long>(body.size()));
        curl_easy_setopt(curl, CURLOPT_COPYPOSTFIELDS, body.c_str());
        curl_easy_setopt(curl, CURLOPT_WRITEFUNCTION, Append);
        curl_easy_setopt(curl, CURLOPT_WRITEDATA, &received);
        curl_easy_setopt(curl, CURLOPT_HTTPHEADER, headers);
    }

    void SetSurroundings(CURL* curl) {
        curl_easy_setopt(curl, CURLOPT_VERBOSE, 1L);
        curl_easy_setopt(curl, CURLOPT_FOLLOWLOCATION, 1L);
        curl_easy_setopt(curl, CURLOPT_CONNECTTIMEOUT, 20L);
        curl_easy_setopt(curl, CURLOPT_USE_SSL, static_cast<long>(CURLUSESSL_ALL));
        g_mkdir_with_parents(CookieFolder, OwnerOnly);
        curl_easy_setopt(curl, CURLOPT_COOKIEFILE, cookies.c_str());
        curl_easy_setopt(curl, CURLOPT_COOKIEJAR, cookies.c_str());
        curl_easy_setopt(curl, CURLOPT_SHARE, ShareOfProcess());
        curl_easy_setopt(curl, CURLOPT_MAXREDIRS, 30L);
        curl_easy_setopt(curl, CURLOPT_SOCKOPTFUNCTION, LimitSilence);
        curl_easy_setopt(curl, CURLOPT_NOSIGNAL, 1L);
    }

    std::string Plain(CURL* curl) const {
        int length = 0;
        const Floor::Owned<char, curl_free> text(
            curl_easy_unescape(curl, received.data(), static_cast<int>(received.size()), &length));
        return {text.get(), static_cast<std::size_t>(length)};
    }

    std::string url;
    std::string cookies;
    std::string received;
    std::array<char, CURL_ERROR_SIZE> errors{};
};

class Job {
public:
    explicit Job(const Floor::ScriptRequest& wanted)
        : request(wanted), server(wanted.server, wanted.client) {}

    std::string Run() {
        Info("info: Execute");
        const std::string production = element.ProductionData();
        seId = production.substr(0, SeIdLength);
        const Floor::Owned<char, g_free> uuid(g_uuid_string_random());
        session = uuid.get();
        ServerAnswer answer = server.Post(Opening(production));
        while (answer.code == "00000000") {
            Debug(PLACED(Agent, 70, "Do", "cAPDU: %s"), answer.commandSet.c_str());
            const std::string responses = Relay(answer.commandSet);
            Debug(PLACED(Agent, 52, "Do", "rAPDU: %s"), responses.c_str());
            const Members members = {
                {"UUID", session},
                {"msgCd", "NEXTAPDU"},
                {"msgTime", Now()},
                {"rApduSet", responses},
                {"seId", seId}};
            answer = server.Post(Message(members));
        }
        return answer.code;
    }

private:
    std::string Opening(const std::string& production) const {
        Debug(
            PLACED(Agent, 62, "Do", "Job execution: sid %s; fid %s; req %s"), request.serviceId.c_str(),
            request.functionId.c_str(), request.pushRequest.c_str());
        const std::string time = Now();
        return Message(
            {{"UUID", session},
             {"agentVersion", "1.0.19"},
             {"cplc", production},
             {"deviceCodeVersion", BuildVersion()},
             {"deviceCsc", SalesCode()},
             {"deviceMcc", OfSim(telephony_network_get_mcc, "GetMcc", "MCC")},
             {"deviceMnc", OfSim(telephony_network_get_mnc, "GetMnc", "MNC")},
             {"deviceModel", Model()},
             {"location", Location()},
             {"msgCd", "INITIALIZEAPDU"},
             {"msgTime", time},
             {"pushReq", request.pushRequest},
             {"seId", seId},
             {"serviceId", request.serviceId},
             {"sessionKey", SessionKey(time, request.functionId)}});
    }

    std::string Relay(const std::string& commandSet) {
        std::string responses;
        for (std::size_t begin = 0; begin < commandSet.size();) {
            const std::size_t end = std::min(commandSet.find('/', begin + 1), commandSet.size());
            const std::string command = commandSet.substr(begin + 3, end - begin - 3);
            Debug(
                PLACED(Agent, 202, "SendApdu", "CAPDU: %s [%d]"), command.c_str(),
                static_cast<int>(command.size()));
            request.report(command.substr(2, 2));
            responses += "/01" + element.Exchange(command.data(), command.size());
            begin = end;
        }
        return responses;
    }

    const Floor::ScriptRequest& request;
    Server server;
    SecureElement element;
    std::string seId;
    std::string session;
};

}  // namespace

std::string Floor::RunScript(const ScriptRequest& request) {
    return Job(request).Run();
}
