// SPDX-License-Identifier: Apache-2.0
#include "app/ClientPort.h"

bool Na::IClientPort::SendReturnCode(const std::string& clientId, const std::string& code) {
    return SendResult(clientId, RequestMap{{Key::ReturnCode, code}});
}

bool Na::IClientPort::IsTrusted(const std::string&) {
    return true;
}
