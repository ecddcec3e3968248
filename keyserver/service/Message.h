// SPDX-License-Identifier: Apache-2.0
// One message of the agent: the body of its POST, "data=" and a flat JSON object of texts.
#pragma once

#include <map>
#include <stdexcept>
#include <string>

namespace KeyServer {

// The body is no message at all, so it deserves an HTTP error.
class NotAMessage : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// The body is a message, but what it says is wrong; it is answered with a result code.
class WrongMessage : public std::runtime_error {
public:
    WrongMessage(std::string resultCode, const std::string& reason);
    const std::string& Code() const { return code; }

private:
    std::string code;
};

class Message {
public:
    // The body is taken as it is: the agent escapes nothing, and has removed every blank. Throws NotAMessage
    // or WrongMessage.
    explicit Message(const std::string& body);

    // Value of a member; empty when it is absent or no text.
    [[nodiscard]] const std::string& Field(const std::string& name) const;

private:
    std::map<std::string, std::string> fields;
};

namespace ResultCode {
constexpr char CommandsExist[] = "00000000";
constexpr char Success[] = "00000001";
constexpr char StartAgain[] = "00000009";
constexpr char KeyManagement[] = "10200001";
constexpr char UnknownKeys[] = "10200002";
constexpr char UnknownAlgorithm[] = "10200003";
constexpr char OutOfTurn[] = "10100017";
constexpr char InvalidMessage[] = "10300004";
constexpr char NoSeId[] = "10300006";
constexpr char NoCplc[] = "10300007";
constexpr char NoServiceId[] = "10300008";
constexpr char WrongSeIdLength[] = "10300009";
constexpr char ForeignCplc[] = "10300012";
constexpr char ForeignDevice[] = "10500001";
constexpr char UnexpectedStatusWord[] = "90202001";
constexpr char WrongNumberOfResponses[] = "90202002";
constexpr char WrongResponseSet[] = "90202003";
constexpr char RelayFailed[] = "90202004";
constexpr char WrongCardData[] = "90202005";
constexpr char WrongCryptogram[] = "90202009";
}  // namespace ResultCode

}  // namespace KeyServer
