#pragma once

#include <cstddef>
#include <cstdint>

/// The inner loop of crc32: many CRC registers side by side.
namespace mos {

/// CRC registers are reflected: bit 31 stands for x^0 and bit 0 for x^31.
inline constexpr std::uint32_t crc32Polynomial = 0xEDB88320;

/// Appends segments of `segmentSize` bytes (a multiple of 4) that follow each other, one for each
/// lane, to the register `value`. The shifts are x^(8 * segmentSize * n) for n = half of the lanes,
/// a quarter of them and so on down to 1.
using AppendCrc32Segments = std::uint32_t (*)(std::uint32_t value, const std::byte* data,
                                              std::size_t segmentSize,
                                              const std::uint32_t* shifts) noexcept;

std::uint32_t appendCrc32Segments(std::uint32_t value, const std::byte* data,
                                  std::size_t segmentSize, const std::uint32_t* shifts) noexcept;
std::uint32_t appendCrc32SegmentsAvx2(std::uint32_t value, const std::byte* data,
                                      std::size_t segmentSize,
                                      const std::uint32_t* shifts) noexcept;

/// How many registers are advanced together, and by what.
struct Crc32Lanes {
    std::size_t count; ///< a power of two
    AppendCrc32Segments append;
};

inline constexpr std::size_t mostCrc32Lanes = 256;

/// With the 128-bit registers that every processor of the target has.
inline constexpr Crc32Lanes portableCrc32Lanes{128, appendCrc32Segments};

/// With 256-bit registers: only where processorHasAvx2() says so.
inline constexpr Crc32Lanes avx2Crc32Lanes{mostCrc32Lanes, appendCrc32SegmentsAvx2};

} // namespace mos
