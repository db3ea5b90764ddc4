#include "archive/crc32.h"

#include <array>
#include <bit>

// A CRC is the remainder of a polynomial division over GF(2), and remainders add: the CRC register
// after A followed by B is (register after A) * x^(8 * size of B) plus the register after B alone.
// So long data are cut into equal segments whose registers are advanced side by side, one lane
// each, which the compiler turns into vector instructions; in the end they are multiplied into
// place and added. Every lane still takes its data bit by bit, without a table.
//
// Registers are reflected: bit 31 stands for x^0 and bit 0 for x^31.

namespace mos {
namespace {

constexpr std::uint32_t polynomial = 0xEDB88320;
constexpr std::size_t laneCount = 16;
constexpr std::size_t wordSize = 4;

/// Below this size the multiplications cost more than the lanes save.
constexpr std::size_t smallestLanedSize = 512;

constexpr std::uint32_t timesX(std::uint32_t value) {
    return (value >> 1U) ^ (polynomial & (0U - (value & 1U)));
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

std::uint32_t multiply(std::uint32_t a, std::uint32_t b) {
    std::uint32_t product = 0;
    for (std::uint32_t bit = 1U << 31U; bit != 0; bit >>= 1U) {
        product ^= (a & bit) != 0 ? b : 0U;
        b = timesX(b);
    }
    return product;
}

/// x^(8 * byteCount), by squaring.
std::uint32_t powerForBytes(std::size_t byteCount) {
    std::uint32_t power = 1U << 31U;
    std::uint32_t square = 1U << 23U; // x^8
    for (; byteCount != 0; byteCount >>= 1U) {
        if ((byteCount & 1U) != 0) {
            power = multiply(power, square);
        }
        square = multiply(square, square);
    }
    return power;
}

std::uint32_t littleEndianWord(const std::byte* bytes) {
    return std::to_integer<std::uint32_t>(bytes[0]) |
           std::to_integer<std::uint32_t>(bytes[1]) << 8U |
           std::to_integer<std::uint32_t>(bytes[2]) << 16U |
           std::to_integer<std::uint32_t>(bytes[3]) << 24U;
}

/// Takes `laneCount` segments of `segmentSize` bytes (whole words) that follow each other.
std::uint32_t appendSegments(std::uint32_t value, const std::byte* data, std::size_t segmentSize) {
    std::array<std::uint32_t, laneCount> lanes{value};
    for (std::size_t offset = 0; offset < segmentSize; offset += wordSize) {
        for (std::size_t lane = 0; lane < laneCount; ++lane) {
            lanes[lane] ^= littleEndianWord(data + lane * segmentSize + offset);
        }
        for (std::size_t bit = 0; bit < 8 * wordSize; ++bit) {
            for (std::uint32_t& lane : lanes) {
                lane = timesX(lane);
            }
        }
    }
    const std::uint32_t shift = powerForBytes(segmentSize);
    std::uint32_t sum = 0;
    for (const std::uint32_t lane : lanes) {
        sum = multiply(sum, shift) ^ lane;
    }
    return sum;
}

} // namespace

std::uint32_t crc32(std::span<const std::byte> data) noexcept {
    std::uint32_t value = 0xFFFFFFFF;
    if (data.size() >= smallestLanedSize) {
        const std::size_t segmentSize = data.size() / (laneCount * wordSize) * wordSize;
        value = appendSegments(value, data.data(), segmentSize);
        data = data.subspan(laneCount * segmentSize);
    }
    return ~appendBytes(value, data);
}

} // namespace mos
