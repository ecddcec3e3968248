// SPDX-License-Identifier: Apache-2.0
#include "app/NavoProxy.h"

#include <algorithm>

#include "app/Network.h"
#include "app/RequestKeys.h"
#include "app/ResultCode.h"
#include "app/ServerAddress.h"
#include "common/Crypto.h"
#include "common/Debug.h"
#include "common/Runtime.h"
#include "common/Utf8.h"
#include "common/Utils.h"
#include "common/Uuid.h"

namespace Na {

namespace {

constexpr char Endpoint[] = "/IssueCard.do";
constexpr char BodyPrefix[] = "data=";
constexpr char AgentVersion[] = "1.0.19";
constexpr std::size_t SessionKeyStretch = 50;
constexpr int EligibilityAttempts = 3;
constexpr unsigned FirstSim = 0;
constexpr int HttpOk = 200;

// Result of a transport failure.
ResultCode ResultOf(HttpOutcome failure) {
    switch (failure) {
        case HttpOutcome::MalformedUrl:
            return ResultCode::MalformedUrl;
        case HttpOutcome::BadContentEncoding:
            return ResultCode::BadContentEncoding;
        case HttpOutcome::UnsupportedRequest:
            return ResultCode::UnsupportedRequest;
        case HttpOutcome::TemporarilyUnavailable:
            return ResultCode::TemporarilyUnavailable;
        case HttpOutcome::NoResponse:
            return ResultCode::NoResponseFromServer;
        case HttpOutcome::TimedOut:
            return ResultCode::TimedOut;
        case HttpOutcome::NoConnection:
            return ResultCode::HostUnreachable;
        case HttpOutcome::AccessDenied:
            return ResultCode::ConnectionRefused;
        default:
            return ResultCode::ProtocolError;
    }
}

// The server's own result becomes the current one; an answer without any is a success. A text that cannot be
// shown to the JSON library may hold any result, so it counts as no answer.
void AdoptResult(const std::string& body, const Json& answer) {
    if (body.empty() || answer.WasRefused()) {
        SetResultCode(ResultCode::NoResponseFromServer);
        return;
    }
    const std::string& result = answer.Get("resultCode");
    if (result.empty()) {
        SetResultCode(ResultCode::Done);
    } else if (result.size() <= LongestReplyText) {
        SetResultCodeText(result);
    } else {
        LogPrint(
            LogError, LOCATED_IN("SendRequest", "A result of %u bytes is cut at %u"),
            static_cast<unsigned>(result.size()), static_cast<unsigned>(LongestReplyText));
        SetResultCodeText(result.substr(0, WholeCharacters(result, LongestReplyText)));
    }
}

// Body of a good answer; every other end of the exchange gives an empty text and its result.
std::string TakeBody(Http& http, HttpOutcome outcome, Json& answer) {
    if (outcome != HttpOutcome::Completed) {
        SetResultCode(ResultOf(outcome));
        return {};
    }
    const int status = http.GetResponseCode();
    if (status == 0) {
        SetResultCode(ResultCode::ProtocolError);
        return {};
    }
    if (status != HttpOk) {
        SetResultCodeText(std::to_string(status));
        return {};
    }
    std::string body = http.TakeResponse();
    answer = Json(body);
    AdoptResult(body, answer);
    return body;
}

// The connection goes down on every way out.
class ConnectionUse {
public:
    explicit ConnectionUse(Network& connectedNetwork) : network(connectedNetwork) {}
    ~ConnectionUse() { network.ConnectionDown(); }
    ConnectionUse(const ConnectionUse&) = delete;
    ConnectionUse& operator=(const ConnectionUse&) = delete;

private:
    Network& network;
};

// The text repeated as a whole until it is longer than `length`.
std::string Stretch(const std::string& text, std::size_t length) {
    std::string stretched;
    while (stretched.size() <= length) {
        stretched += text;
    }
    return stretched;
}

unsigned LengthOf(const std::string& text) {
    return static_cast<unsigned>(text.size());
}

Json NewMessage(const std::string& name, const std::string& uuid) {
    Json message;
    message.Set("msgCd", name);
    message.Set("UUID", uuid);
    message.Set("msgTime", GetCurrentDateTime());
    return message;
}

}  // namespace

NavoProxy::NavoProxy(const std::string& serverUrl) : url(serverUrl) {
    if (url.empty()) {
        url = GetNavoAddress();
    }
    if (url.empty()) {
        isServerKnown = IsNavoAddressReadable();
        url = NAVO_DEFAULT_SERVER_URL;
    }
}

std::string NavoProxy::GetSessionKey(const std::string& val1, const std::string& val2, std::size_t length) {
    LogPrint(LogTrace, LOCATED("val1[%u]: %s"), LengthOf(val1), val1.c_str());
    LogPrint(LogTrace, LOCATED("val2[%u]: %s"), LengthOf(val2), val2.c_str());
    if (val1.empty() || val2.empty()) {
        LogPrint(LogDebug, LOCATED("Bad parameter"));
        return {};
    }
    const std::string inp1 = Stretch(val1, length);
    const std::string inp2 = Stretch(val2, length);
    LogPrint(LogTrace, LOCATED("inp1[%u]: %s"), LengthOf(inp1), inp1.c_str());
    LogPrint(LogTrace, LOCATED("inp2[%u]: %s"), LengthOf(inp2), inp2.c_str());

    Bytes mixed = StringToBytes(inp1.substr(0, inp2.size()));
    std::transform(
        mixed.begin(), mixed.end(), inp2.begin(), mixed.begin(), [](std::uint8_t left, char right) {
            return static_cast<std::uint8_t>(left ^ static_cast<std::uint8_t>(right));
        });
    const std::string key = BytesToHex(Sha256(mixed));
    LogPrint(LogTrace, LOCATED("skey[%u]: %s"), LengthOf(key), key.c_str());
    return key;
}

std::string NavoProxy::SendRequest(const std::string& context, const Json& message) {
    SetResultCode(ResultCode::UnknownError);
    answer = Json();
    if (!isServerKnown) {
        return {};
    }
    Network* const network = Network::GetInstance();
    if (!network->ConnectionUp()) {
        return {};
    }
    Http http(context, &ConnectionShare::OfProcess());
    const ConnectionUse use(*network);  // ends before the exchange does
    const std::string proxy = network->GetProxyUrl();
    ConnectionShare::OfProcess().Prepare({url, proxy, network->GetConnectionKind()});
    const std::string body = BodyPrefix + message.Construct();
    LogPrint(LogTrace, LOCATED("%s <= %s"), url.c_str(), body.c_str());
    const HttpOutcome outcome = http.SendRequest(url + Endpoint, HttpRequest::Post, body, proxy);
    return TakeBody(http, outcome, answer);
}

std::string NavoProxy::InitializeApdu(
    const std::string& context, const std::string& seId, const std::string& serviceId,
    const std::string& cplc, const std::string& sessionSeed, const std::string& pushReq) {
    uuid = Uuid::Random().ToString();
    Json message = NewMessage("INITIALIZEAPDU", uuid);
    message.Set("sessionKey", GetSessionKey(message.Get("msgTime"), sessionSeed, SessionKeyStretch));
    message.Set("seId", seId);
    message.Set("serviceId", serviceId);
    message.Set("cplc", cplc);
    message.Set("deviceModel", GetModelName());
    message.Set("location", GetCountryCode());
    message.Set("agentVersion", AgentVersion);
    message.Set("pushReq", pushReq);
    message.Set("deviceCsc", GetCscSalesCode());
    message.Set("deviceMnc", GetMnc(FirstSim));
    message.Set("deviceMcc", GetMcc(FirstSim));
    message.Set("deviceCodeVersion", GetDeviceBuildVersion());
    return SendRequest(context, message);
}

std::string NavoProxy::NextApdu(
    const std::string& context, const std::string& seId, const std::string& rApduSet) {
    Json message = NewMessage("NEXTAPDU", uuid);
    message.Set("seId", seId);
    message.Set("rApduSet", rApduSet);
    return SendRequest(context, message);
}

bool NavoProxy::Eligibility(const std::string& context, const std::string& seId) {
    Json message = NewMessage("ELIGIBILITY", Uuid::Random().ToString());
    message.Set("agentVersion", AgentVersion);
    message.Set("seId", seId);
    message.Set("deviceModel", GetModelName());
    message.Set("deviceCsc", GetCscSalesCode());
    message.Set("deviceMnc", GetMnc(FirstSim));
    message.Set("deviceMcc", GetMcc(FirstSim));
    message.Set("deviceRoaming", IsRoaming(FirstSim) ? "true" : "false");
    message.Set("deviceCodeVersion", GetDeviceBuildVersion());
    for (int attempt = 0; attempt < EligibilityAttempts; ++attempt) {
        SendRequest(context, message);
        if (GetResultCode() != ResultCode::PleaseWait) {
            break;
        }
    }
    // The very text of the table is asked for, and the current result always holds a copy: never true.
    return GetResultCodeText().c_str() == FindCodeText(ResultCode::Done);
}

}  // namespace Na
