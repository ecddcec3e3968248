#include "card/Options.h"

namespace Card {

namespace {

Bytes DefaultKey() {
    Bytes key;
    for (std::uint8_t byte = 0x40; byte < 0x50; ++byte) {
        key.push_back(byte);
    }
    return key;
}

}  // namespace

Options::Options()
    : atr(*GlobalPlatform::FromHexText("3B8880014E41564F434152440B")),
      cplc(*GlobalPlatform::FromHexText(
          "4F525731000150600100506100C0FFEE00424F5050654F4550664F495070000000014F53507100000002")),
      issuerAid(*GlobalPlatform::FromHexText("A000000151000000")),
      keys{DefaultKey(), DefaultKey(), DefaultKey()} {}

}  // namespace Card
