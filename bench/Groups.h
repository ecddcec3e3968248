// SPDX-License-Identifier: Apache-2.0
// The groups of figures. Each adds what it measures to the report and throws when something cannot be
// measured.
#pragma once

#include "bench/Report.h"
#include "bench/Settings.h"

namespace Bench {

void MeasureRelay(Report& report, const Settings& settings);
void MeasureRequest(Report& report, const Settings& settings);
void MeasureJobs(Report& report, const Settings& settings);
void MeasurePeers(Report& report, const Settings& settings);
void MeasureScript(Report& report, const Settings& settings);
void MeasurePcsc(Report& report, const Settings& settings);
void MeasureStart(Report& report, const Settings& settings);
void MeasureGrowth(Report& report, const Settings& settings);
void MeasureCard(Report& report, const Settings& settings);

}  // namespace Bench
