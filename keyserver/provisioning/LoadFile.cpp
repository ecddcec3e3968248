#include "keyserver/provisioning/LoadFile.h"

#include <openssl/evp.h>

#include "globalplatform/Tlv.h"

namespace KeyServer {

namespace {

using namespace GlobalPlatform;

constexpr std::uint32_t DapTag = 0xE2;
constexpr std::uint32_t DataBlockTag = 0xC4;
constexpr std::size_t MostBytes = 256UL * 255;  // what LOAD can number

Bytes Sha256(const Bytes& data) {
    Bytes digest(EVP_MAX_MD_SIZE);
    unsigned length = 0;
    if (EVP_Digest(data.data(), data.size(), digest.data(), &length, EVP_sha256(), nullptr) != 1) {
        throw std::runtime_error("SHA-256 is not available");
    }
    digest.resize(length);
    return digest;
}

// The data block of a whole load file.
Bytes DataBlockOf(const Bytes& file) {
    const auto objects = ParseTlv(file);
    if (!objects || objects->empty() || objects->back().tag != DataBlockTag) {
        throw std::invalid_argument(
            "begins like a load file, but is no sequence of objects E2 that ends with one object C4");
    }
    for (std::size_t i = 0; i + 1 < objects->size(); ++i) {
        if ((*objects)[i].tag != DapTag) {
            throw std::invalid_argument("holds an object that is neither E2 nor C4");
        }
    }
    return objects->back().value;
}

}  // namespace

LoadFile MakeLoadFile(const std::string& bytes) {
    const Bytes file(bytes.begin(), bytes.end());
    if (file.empty() || file.size() > MostBytes) {
        throw std::invalid_argument(
            "has " + std::to_string(file.size()) + " bytes; a load file has 1 to " +
            std::to_string(MostBytes));
    }
    if (bytes.rfind("PK", 0) == 0) {
        throw std::invalid_argument(
            "is an archive; the components in it must be joined in the order in which cards load them");
    }
    if (file.front() == DapTag || file.front() == DataBlockTag) {
        return {file, Sha256(DataBlockOf(file))};
    }
    return {MakeTlv(DataBlockTag, file), Sha256(file)};
}

}  // namespace KeyServer
