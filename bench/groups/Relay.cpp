#include "../Groups.h"

namespace Bench {

void MeasureRelay(Report&, const Settings&) {}

}  // namespace Bench
