#pragma once

#include <cstddef>
#include <cstdint>

/// The inner loop of crc32: many CRC registers side by side.
namespace mos {

inline constexpr std::uint32_t crc32Polynomial = 0xEDB88320;

/// Registers that are advanced together, one lane of a vector register each.
inline constexpr std::size_t crc32LaneCount = 32;

/// Advances `lanes[i]` over the `segmentSize` bytes (a multiple of 4) that begin at
/// `data + i * segmentSize`.
using AdvanceCrc32Lanes = void (*)(std::uint32_t* lanes, const std::byte* data,
                                   std::size_t segmentSize) noexcept;

/// With the vector registers that every processor of the target has.
void advanceCrc32Lanes(std::uint32_t* lanes, const std::byte* data,
                       std::size_t segmentSize) noexcept;

/// With 256-bit registers: only where processorHasAvx2() says so.
void advanceCrc32LanesAvx2(std::uint32_t* lanes, const std::byte* data,
                           std::size_t segmentSize) noexcept;

} // namespace mos
