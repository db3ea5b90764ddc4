#include "archive/crc32.h"

#include <algorithm>
#include <array>
#include <bit>

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

constexpr std::size_t wordSize = 4;

/// Below this size the multiplications cost more than the lanes save.
constexpr std::size_t smallestLanedSize = 128;

/// Up to this size data are copied behind zeros that fill the lanes up.
constexpr std::size_t largestPaddedSize = 4096;

constexpr std::size_t cacheLineSize = 64;
constexpr std::size_t largestSegmentSize = 2048;

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

constexpr std::uint32_t multiply(std::uint32_t a, std::uint32_t b) {
    std::uint32_t product = 0;
    for (; a != 0; a <<= 1U) {
        product ^= b & (0U - (a >> 31U));
        b = timesX(b);
    }
    return product;
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
    constexpr std::uint32_t one = 1U << 31U;
    std::uint32_t power = one;
    for (std::size_t i = 0; byteCount != 0; ++i, byteCount >>= 1U) {
        if ((byteCount & 1U) != 0) {
            power = power == one ? powersForBytes[i] : multiply(power, powersForBytes[i]);
        }
    }
    return power;
}

/// The largest number of whole words in `size` bytes, but no multiple of a cache line: segments
/// that begin a power of two apart push each other's lines out of the cache.
std::size_t suitableSegmentSize(std::size_t size) {
    const std::size_t wholeWords = std::min(size, largestSegmentSize) / wordSize * wordSize;
    return wholeWords % cacheLineSize == 0 ? wholeWords - wordSize : wholeWords;
}

/// Appends equal segments for all lanes.
std::uint32_t appendSegments(std::uint32_t value, const std::byte* data, std::size_t segmentSize,
                             const Crc32Lanes& lanes) {
    std::array<std::uint32_t, std::bit_width(mostCrc32Lanes)> shifts;
    std::size_t shiftCount = 0;
    for (std::size_t half = lanes.count / 2; half > 0; half /= 2) {
        shifts[shiftCount++] = powerForBytes(segmentSize * half);
    }
    return lanes.append(value, data, segmentSize, shifts.data());
}

/// Appends at least 4 and at most `largestPaddedSize` bytes: a register that is 0 stays 0 over
/// zeros, so any number of them may stand in front once its value is added to the data instead.
std::uint32_t appendPadded(std::uint32_t value, std::span<const std::byte> data,
                           const Crc32Lanes& lanes) {
    const std::size_t wordOfAllLanes = lanes.count * wordSize;
    const std::size_t wordsPerLane = (data.size() + wordOfAllLanes - 1) / wordOfAllLanes;
    std::array<std::byte, largestPaddedSize> padded;
    const std::size_t paddedSize = wordsPerLane * wordOfAllLanes;
    const std::size_t padding = paddedSize - data.size();
    std::fill_n(padded.begin(), padding, std::byte{});
    std::ranges::copy(data, padded.data() + padding);
    for (std::size_t i = 0; i < wordSize; ++i) {
        padded[padding + i] ^= static_cast<std::byte>(value >> (8 * i) & 0xFFU);
    }
    return appendSegments(0, padded.data(), wordsPerLane * wordSize, lanes);
}

} // namespace

std::uint32_t crc32(std::span<const std::byte> data, std::uint32_t before) noexcept {
    return crc32(data, before, processorHasAvx2() ? avx2Crc32Lanes : portableCrc32Lanes);
}

std::uint32_t crc32(std::span<const std::byte> data, std::uint32_t before,
                    const Crc32Lanes& lanes) noexcept {
    std::uint32_t value = ~before;
    while (data.size() > largestPaddedSize) {
        const std::size_t segmentSize = suitableSegmentSize(data.size() / lanes.count);
        value = appendSegments(value, data.data(), segmentSize, lanes);
        data = data.subspan(lanes.count * segmentSize);
    }
    if (data.size() >= smallestLanedSize) {
        return ~appendPadded(value, data, lanes);
    }
    return ~appendBytes(value, data);
}

} // namespace mos
