// The published vectors of NIST, kept beside the source tree; without that folder the tests are
// skipped.

#include <gtest/gtest.h>

#include <charconv>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>
#include <vector>

#include "store/sha256.h"

namespace mos {
namespace {

using Bytes = std::vector<std::byte>;
using Json = nlohmann::json;

Bytes bytesOfHex(std::string_view hex) {
    Bytes bytes;
    for (std::size_t i = 0; i < hex.size(); i += 2) {
        unsigned value = 0;
        std::from_chars(hex.data() + i, hex.data() + i + 2, value, 16);
        bytes.push_back(static_cast<std::byte>(value));
    }
    return bytes;
}

class Sha256Vectors : public testing::TestWithParam<Sha256::Implementation> {
protected:
    void SetUp() override {
        const std::filesystem::path path =
            std::filesystem::path(MOS_SOURCE_DIR) / "../shared/external/sha256/vectors.json";
        std::ifstream file(path, std::ios::binary);
        if (!file.is_open()) {
            GTEST_SKIP() << "no file " << path.lexically_normal().string();
        }
        vectors = Json::parse(file);
    }

    [[nodiscard]] static std::string digestOf(const Bytes& message, std::size_t times = 1) {
        Sha256 digest(GetParam());
        for (std::size_t i = 0; i < times; ++i) {
            digest.update(message);
        }
        return digest.finish();
    }

    void expectDigests(const char* group) {
        ASSERT_FALSE(vectors.at(group).empty());
        for (const Json& row : vectors.at(group)) {
            EXPECT_EQ(digestOf(bytesOfHex(row.at("message").get<std::string>())), row.at("digest"))
                << group << ", " << row.at("bits") << " bits";
        }
    }

    Json vectors;
};

INSTANTIATE_TEST_SUITE_P(Both, Sha256Vectors,
                         testing::Values(Sha256::Implementation::Fastest,
                                         Sha256::Implementation::Portable),
                         [](const auto& tested) {
                             return tested.param == Sha256::Implementation::Fastest ? "Fastest"
                                                                                    : "Portable";
                         });

TEST_P(Sha256Vectors, ShortMessages) {
    expectDigests("short");
}

TEST_P(Sha256Vectors, LongMessages) {
    expectDigests("long");
}

TEST_P(Sha256Vectors, RepeatedUnits) {
    constexpr std::size_t quickTimes = 1'000'000;
    for (const Json& row : vectors.at("repeated")) {
        const auto times = row.at("times").get<std::size_t>();
        if (times > quickTimes) {
            continue;
        }
        EXPECT_EQ(digestOf(bytesOfHex(row.at("unit").get<std::string>()), times), row.at("digest"))
            << row.at("unit") << ", " << times << " times";
    }
}

TEST_P(Sha256Vectors, TheWholeMonteCarloChain) {
    Bytes seed = bytesOfHex(vectors.at("chain_seed").get<std::string>());
    ASSERT_EQ(vectors.at("monte").size(), 100U);
    for (const Json& checkpoint : vectors.at("monte")) {
        // SHAVS 6.4: each message is the last three digests in a row.
        Bytes message;
        for (int i = 0; i < 3; ++i) {
            message.insert(message.end(), seed.begin(), seed.end());
        }
        std::string digest;
        for (int i = 0; i < 1000; ++i) {
            digest = digestOf(message);
            const Bytes bytes = bytesOfHex(digest);
            message.erase(message.begin(), message.begin() + 32);
            message.insert(message.end(), bytes.begin(), bytes.end());
        }
        ASSERT_EQ(digest, checkpoint.at("digest")) << "checkpoint " << checkpoint.at("count");
        seed = bytesOfHex(digest);
    }
}

} // namespace
} // namespace mos
