// SPDX-License-Identifier: Apache-2.0
#include "keyserver/service/Dialogue.h"

#include <algorithm>

namespace KeyServer {

bool Turn::Ends() const {
    return resultCode != ResultCode::CommandsExist;
}

const Service* Catalogue::Find(const std::string& serviceId) const {
    for (const auto& service : services) {
        const auto& ids = service->ServiceIds();
        if (std::find(ids.begin(), ids.end(), serviceId) != ids.end()) {
            return service.get();
        }
    }
    return nullptr;
}

}  // namespace KeyServer
