// SPDX-License-Identifier: Apache-2.0
// navo-bench-inside count GROUP: under callgrind, leaves a dump for each case, named after it, and prints the
// operations that each counted. navo-bench-inside time GROUP [GOOGLE-BENCHMARK-OPTION...]: times each case.
#include <benchmark/benchmark.h>
#include <valgrind/callgrind.h>

#include <chrono>
#include <cstring>
#include <iostream>
#include <nlohmann/json.hpp>
#include <stdexcept>

#include "bench/inside/Case.h"

namespace {

using namespace Inside;

Cases CasesOf(const std::string& group) {
    Cases cases;
    if (group == "relay") {
        AddRelay(cases);
    } else if (group == "growth") {
        AddGrowth(cases);
    } else if (group == "card") {
        AddCard(cases);
    } else {
        throw std::runtime_error("no such group: " + group);
    }
    return cases;
}

// Whoever makes a case has run it once. A dump sets all counts to zero; to set them to zero without one
// leaves some.
void CountEach(const Cases& cases) {
    nlohmann::json units = nlohmann::json::object();
    for (const Case& one : cases) {
        one.prepare();
        CALLGRIND_DUMP_STATS_AT("before");
        one.run();
        one.settle();
        CALLGRIND_DUMP_STATS_AT(one.name.c_str());
        units[one.name] = one.units;
    }
    std::cout << units << "\n";
}

void Time(benchmark::State& state, const Case& one) {
    using Clock = std::chrono::steady_clock;
    for (auto unused : state) {
        static_cast<void>(unused);
        one.prepare();
        const Clock::time_point begin = Clock::now();
        one.run();
        state.SetIterationTime(std::chrono::duration<double>(Clock::now() - begin).count());
        one.settle();
    }
    state.counters["units"] = one.units;
}

void TimeEach(const Cases& cases, int& count, char** arguments) {
    for (const Case& one : cases) {
        const auto time = [&one](benchmark::State& state) { Time(state, one); };
        benchmark::RegisterBenchmark(one.name.c_str(), time)->UseManualTime();
    }
    benchmark::Initialize(&count, arguments);
    benchmark::RunSpecifiedBenchmarks();
}

}  // namespace

int main(int count, char** arguments) {
    if (count < 3) {
        std::cerr << "Usage: navo-bench-inside count|time GROUP [OPTION...]\n";
        return 2;
    }
    try {
        const Cases cases = CasesOf(arguments[2]);
        if (std::strcmp(arguments[1], "count") == 0) {
            CountEach(cases);
        } else {
            TimeEach(cases, count, arguments);
        }
        return 0;
    } catch (const std::exception& error) {
        std::cerr << "navo-bench-inside: " << error.what() << "\n";
        return 1;
    }
}
