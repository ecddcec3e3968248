// SPDX-License-Identifier: Apache-2.0
#include "card/Options.h"

#include <stdexcept>

#include "globalplatform/Aes.h"
#include "globalplatform/Aid.h"
#include "globalplatform/LifeCycle.h"
#include "globalplatform/Scp03.h"

namespace Card {

using namespace GlobalPlatform;

namespace {

Bytes DefaultKey() {
    Bytes key;
    for (std::uint8_t byte = 0x40; byte < 0x50; ++byte) {
        key.push_back(byte);
    }
    return key;
}

void Require(bool right, const char* what) {
    if (!right) {
        throw std::invalid_argument(std::string("a software card needs ") + what);
    }
}

}  // namespace

Options::Options()
    : atr(*FromHexText("3B8880014E41564F434152440B")),
      cplc(*FromHexText(
          "4F525731000150600100506100C0FFEE00424F5050654F4550664F495070000000014F53507100000002")),
      issuerNumber(*FromHexText("9999010001")),
      issuerAid(*FromHexText("A000000151000000")),
      keys{DefaultKey(), DefaultKey(), DefaultKey()} {}

void Check(const Options& options) {
    Require(options.atr.size() <= LongestAtr, "an answer-to-reset of at most 33 bytes");
    Require(options.cplc.size() == CplcLength, "production life-cycle data of 42 bytes");
    Require(IsAid(options.issuerAid), "an AID of 5 to 16 bytes for the issuer security domain");
    Require(
        options.issuerNumber.size() <= LongestIssuerNumber,
        "an issuer identification number of at most 32 bytes");
    Require(AreChannelKeys(options.keys), "three keys of 16, 24 or 32 bytes");
    Require(IsChannelOption(options.channelOption), "an option i of 00, 10, 20, 30, 60 or 70");
    Require(IsKeyVersion(options.keyVersion), "a key version from 1 to 127, or 255");
    Require(IsCardState(options.lifeCycle), "a life-cycle state of 01, 07, 0F, 7F or FF");
    Require(options.authenticationAttempts > 0, "at least one attempt at authentication");
    Require(
        options.manners.answerTime.count() >= 0 && options.manners.answerTime <= LongestAnswerTime,
        "an answer time of at most ten seconds");
}

}  // namespace Card
