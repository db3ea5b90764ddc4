#pragma once

#include <cstddef>
#include <cstdint>

/// The records of a ZIP file (APPNOTE 4.3) as far as .mos archives use them. All numbers are
/// little-endian.
namespace mos::zip {

inline constexpr std::uint32_t localHeaderSignature = 0x04034B50;
inline constexpr std::uint32_t centralHeaderSignature = 0x02014B50;
inline constexpr std::uint32_t endRecordSignature = 0x06054B50;

inline constexpr std::size_t localHeaderSize = 30;
inline constexpr std::size_t centralHeaderSize = 46;
inline constexpr std::size_t endRecordSize = 22;

// Fields of the local header that the reader looks at.
inline constexpr std::size_t localUncompressedSizeOffset = 22;
inline constexpr std::size_t localNameLengthOffset = 26;
inline constexpr std::size_t localExtraLengthOffset = 28;

inline constexpr std::uint16_t versionNeeded = 10; ///< 1.0: stored members
inline constexpr std::uint16_t versionMadeBy = 20; ///< MS-DOS host, 2.0

} // namespace mos::zip
