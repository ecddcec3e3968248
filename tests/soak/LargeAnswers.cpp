// SPDX-License-Identifier: Apache-2.0
#include "tests/soak/LargeAnswers.h"

#include <cstdio>
#include <functional>

#include "tests/soak/Holdings.h"
#include "tests/support/HttpPeer.h"
#include "tests/support/world/World.h"

namespace {

constexpr std::size_t Mebibyte = 1024UL * 1024;
constexpr std::size_t LargestAnswer = 16 * Mebibyte;
constexpr std::uint64_t MostForText = 64 * 1024;  // KiB

struct Shape {
    const char* name;
    std::string beginning;
    std::string part;  // again and again until the answer is full
    std::string end;
    bool isJudged;
};

std::vector<Shape> Shapes() {
    return {
        {"no JSON", "", "no JSON ", "", true},
        {"one long text", R"({"resultCode":")", "0", "\"}", true},
        {"one long command", R"({"resultCode":"00000000","cApduSet":"/01)", "80CA9F7F00", "\"}", true},
        {"blanks", R"({"resultCode":"00000002")", " ", "}", true},
        {"zeros by the million", R"({"resultCode":"00000002","more":[0)", ",0", "]}", true},
    };
}

std::string BodyOf(const Shape& shape) {
    std::string body = shape.beginning;
    while (body.size() + shape.part.size() + shape.end.size() <= LargestAnswer) {
        body += shape.part;
    }
    return body + shape.end;
}

// KiB at the highest, of a service that took this answer and nothing else.
std::uint64_t PeakFor(const Shape& shape) {
    World world;
    HttpPeer server;
    world.DirectServiceTo(server.Url());
    server.Script({Answer(BodyOf(shape))});
    Navo::Session session(world.Options());
    session.Call({{"Cmd", "69"}});
    return HoldingsOf(world.ServiceProcess()).peak;
}

}  // namespace

bool LargeAnswersStaySmall() {
    bool small = true;
    std::printf("\n%-28s %s\n", "an answer of 16 MiB", "KiB at the highest");
    for (const Shape& shape : Shapes()) {
        const std::uint64_t peak = PeakFor(shape);
        std::printf("%-28s %18llu\n", shape.name, static_cast<unsigned long long>(peak));
        small = small && (!shape.isJudged || peak <= MostForText);
    }
    return small;
}
