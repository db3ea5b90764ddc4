#include "archive/crc32.h"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "platform/processor.h"

namespace mos {
namespace {

/// The definition, one bit after the other.
std::uint32_t plainCrc32(std::span<const std::byte> data) {
    std::uint32_t value = 0xFFFFFFFF;
    for (const std::byte byte : data) {
        value ^= std::to_integer<std::uint32_t>(byte);
        for (int bit = 0; bit < 8; ++bit) {
            value = (value & 1U) != 0 ? (value >> 1U) ^ 0xEDB88320 : value >> 1U;
        }
    }
    return ~value;
}

std::vector<std::byte> randomBytes(std::mt19937& random, std::size_t size) {
    std::vector<std::byte> bytes(size);
    for (std::byte& byte : bytes) {
        byte = static_cast<std::byte>(random());
    }
    return bytes;
}

TEST(Crc32, NoDataGiveZero) {
    EXPECT_EQ(crc32({}), 0U);
}

TEST(Crc32, TheDigitsOneToNineGiveThePublishedCheckValue) {
    EXPECT_EQ(crc32(std::as_bytes(std::span(std::string_view("123456789")))), 0xCBF43926U);
}

/// All lanes that this processor can run.
std::vector<Crc32Lanes> laneKinds() {
    std::vector<Crc32Lanes> found{portableCrc32Lanes};
    if (processorHasAvx2()) {
        found.push_back(avx2Crc32Lanes);
    }
    return found;
}

TEST(Crc32, GoesOnWhereItWasLeft) {
    std::mt19937 random(1);
    const std::vector<std::byte> bytes = randomBytes(random, 20'000);
    const std::span all(bytes);
    for (const unsigned cut : {0U, 1U, 127U, 128U, 3000U, 10'000U, 19'999U, 20'000U}) {
        EXPECT_EQ(crc32(all.subspan(cut), crc32(all.first(cut))), plainCrc32(all)) << cut;
    }
}

TEST(Crc32, EveryLengthUpTo5200AgreesWithThePlainLoop) {
    const auto seed = std::random_device{}();
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    const std::vector<std::byte> bytes = randomBytes(random, 5200);
    for (std::size_t size = 0; size <= bytes.size(); ++size) {
        const auto data = std::span(bytes).first(size);
        for (const Crc32Lanes& lanes : laneKinds()) {
            ASSERT_EQ(crc32(data, 0, lanes), plainCrc32(data)) << size << " bytes";
        }
    }
}

TEST(Crc32, RandomLengthsAndPlacesAgreeWithThePlainLoop) {
    const auto seed = std::random_device{}();
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    const std::vector<std::byte> bytes = randomBytes(random, 300'000);
    for (int round = 0; round < 50; ++round) {
        const std::size_t start = random() % 100;
        const std::size_t size = random() % (bytes.size() - start);
        const auto data = std::span(bytes).subspan(start, size);
        for (const Crc32Lanes& lanes : laneKinds()) {
            ASSERT_EQ(crc32(data, 0, lanes), plainCrc32(data)) << size << " bytes from " << start;
        }
        ASSERT_EQ(crc32(data), plainCrc32(data)) << size << " bytes from " << start;
    }
}

} // namespace
} // namespace mos
