#pragma once

#include <cstddef>
#include <cstdint>

#include "archive/crc32_lanes.h"

// Included by one source file per instruction set and compiled for each, hence internal to the file
// that includes it and without any function of the standard library, which would be shared.
namespace mos {
namespace {

inline std::uint32_t wordAt(const std::byte* bytes) noexcept {
    return static_cast<std::uint32_t>(bytes[0]) | static_cast<std::uint32_t>(bytes[1]) << 8U |
           static_cast<std::uint32_t>(bytes[2]) << 16U |
           static_cast<std::uint32_t>(bytes[3]) << 24U;
}

/// Every lane takes its data bit by bit, without a table: shift, and add the polynomial where a one
/// was shifted out. The compiler turns the loops over the lanes into vector instructions.
inline void advanceLanes(std::uint32_t* lanes, const std::byte* data,
                         std::size_t segmentSize) noexcept {
    constexpr std::size_t wordSize = 4;
    constexpr int wordBits = 32;
    std::uint32_t registers[crc32LaneCount]; // NOLINT(modernize-avoid-c-arrays)
    for (std::size_t lane = 0; lane < crc32LaneCount; ++lane) {
        registers[lane] = lanes[lane];
    }
    for (std::size_t offset = 0; offset < segmentSize; offset += wordSize) {
        for (std::size_t lane = 0; lane < crc32LaneCount; ++lane) {
            registers[lane] ^= wordAt(data + lane * segmentSize + offset);
        }
        for (int bit = 0; bit < wordBits; ++bit) {
            for (std::uint32_t& value : registers) {
                value = (value >> 1U) ^ (crc32Polynomial & (0U - (value & 1U)));
            }
        }
    }
    for (std::size_t lane = 0; lane < crc32LaneCount; ++lane) {
        lanes[lane] = registers[lane];
    }
}

} // namespace
} // namespace mos
