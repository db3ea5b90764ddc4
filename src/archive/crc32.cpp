#include "archive/crc32.h"

#include <algorithm>
#include <array>

#include "archive/crc32_lanes.h"
#include "platform/processor.h"

// A CRC is the remainder of a polynomial division over GF(2), and remainders add: the CRC register
// after A followed by B is (register after A) * x^(8 * size of B) plus the register after B alone.
// So long data are cut into equal segments whose registers are advanced side by side, one lane
// each; in the end they are multiplied into place and added.
//
// Registers are reflected: bit 31 stands for x^0 and bit 0 for x^31.

namespace mos {
namespace {

using Lanes = std::array<std::uint32_t, crc32LaneCount>;

constexpr std::size_t wordSize = 4;

/// Below this size the multiplications cost more than the lanes save.
constexpr std::size_t smallestLanedSize = 512;

/// An odd number of cache lines: segments that begin a power of two apart would push each other's
/// lines out of the cache.
constexpr std::size_t largestSegmentSize = std::size_t{31} * 64;

constexpr std::uint32_t timesX(std::uint32_t value) {
    return (value >> 1U) ^ (crc32Polynomial & (0U - (value & 1U)));
}

std::uint32_t appendBytes(std::uint32_t value, std::span<const std::byte> data) {
    for (const std::byte byte : data) {
        value ^= std::to_integer<std::uint32_t>(byte);
        for (int bit = 0; bit < 8; ++bit) {
            value = timesX(value);
        }
    }
    return value;
}

/// Multiplies the first `count` factors by `b`, each in its place.
constexpr void multiplyEach(std::uint32_t* factors, std::size_t count, std::uint32_t b) {
    Lanes products{};
    for (unsigned bit = 32; bit-- > 0;) {
        for (std::size_t i = 0; i < count; ++i) {
            products[i] ^= b & (0U - (factors[i] >> bit & 1U));
        }
        b = timesX(b);
    }
    std::copy_n(products.data(), count, factors);
}

constexpr std::uint32_t multiply(std::uint32_t a, std::uint32_t b) {
    multiplyEach(&a, 1, b);
    return a;
}

/// x^(8 * 2^i) for every i.
constexpr auto powersForBytes = [] {
    std::array<std::uint32_t, 64> powers{};
    powers[0] = 1U << 23U; // x^8
    for (std::size_t i = 1; i < powers.size(); ++i) {
        powers[i] = multiply(powers[i - 1], powers[i - 1]);
    }
    return powers;
}();

/// x^(8 * byteCount).
std::uint32_t powerForBytes(std::size_t byteCount) {
    std::uint32_t power = 1U << 31U;
    for (std::size_t i = 0; byteCount != 0; ++i, byteCount >>= 1U) {
        if ((byteCount & 1U) != 0) {
            power = multiply(power, powersForBytes[i]);
        }
    }
    return power;
}

/// Adds up the registers of segments of `segmentSize` bytes that follow each other, halves first:
/// in each step the first half of the lanes is multiplied past the second and added to it.
std::uint32_t joinLanes(Lanes& lanes, std::size_t segmentSize) {
    std::uint32_t shift = powerForBytes(segmentSize * crc32LaneCount / 2);
    for (std::size_t half = crc32LaneCount / 2; half > 0; half /= 2) {
        multiplyEach(lanes.data(), half, shift);
        for (std::size_t i = 0; i < half; ++i) {
            lanes[i] ^= lanes[i + half];
        }
        if (half > 1) {
            shift = powerForBytes(segmentSize * half / 2);
        }
    }
    return lanes[0];
}

} // namespace

std::uint32_t crc32(std::span<const std::byte> data) noexcept {
    return crc32(data, processorHasAvx2() ? advanceCrc32LanesAvx2 : advanceCrc32Lanes);
}

std::uint32_t crc32(std::span<const std::byte> data, AdvanceCrc32Lanes advance) noexcept {
    std::uint32_t value = 0xFFFFFFFF;
    while (data.size() >= smallestLanedSize) {
        const std::size_t segmentSize =
            std::min(data.size() / (crc32LaneCount * wordSize) * wordSize, largestSegmentSize);
        Lanes lanes{value};
        advance(lanes.data(), data.data(), segmentSize);
        value = joinLanes(lanes, segmentSize);
        data = data.subspan(crc32LaneCount * segmentSize);
    }
    return ~appendBytes(value, data);
}

} // namespace mos
