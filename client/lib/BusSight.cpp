// SPDX-License-Identifier: Apache-2.0
#include "navo/BusSight.h"

#include "client/lib/Bus.h"

namespace Navo {

BusSight LookAtBus(const SessionOptions& options) {
    Bus bus(options.busAddress, options.cancellation);
    BusSight sight;
    sight.activatable = bus.CanStart(ServiceName);
    sight.owner = bus.OwnerOf(ServiceName);
    sight.process = sight.owner.empty() ? 0 : bus.ProcessOf(sight.owner);
    return sight;
}

}  // namespace Navo
