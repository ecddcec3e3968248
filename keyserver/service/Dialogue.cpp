// SPDX-License-Identifier: Apache-2.0
#include "keyserver/service/Dialogue.h"

#include <algorithm>

namespace KeyServer {

bool Turn::Ends() const {
    return resultCode != ResultCode::CommandsExist;
}

std::shared_ptr<const Service> Catalogue::Find(const std::string& serviceId) const {
    for (const auto& service : services) {
        const auto& ids = service->ServiceIds();
        if (std::find(ids.begin(), ids.end(), serviceId) != ids.end()) {
            return service;
        }
    }
    return nullptr;
}

}  // namespace KeyServer
