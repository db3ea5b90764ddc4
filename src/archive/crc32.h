#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "archive/crc32_lanes.h"

namespace mos {

/// The CRC-32 of ZIP (APPNOTE 4.4.7): reflected polynomial 0xEDB88320, initial value 0xFFFFFFFF,
/// final complement. 0 for no data.
[[nodiscard]] std::uint32_t crc32(std::span<const std::byte> data) noexcept;

/// The same with the given inner loop.
[[nodiscard]] std::uint32_t crc32(std::span<const std::byte> data,
                                  AdvanceCrc32Lanes advance) noexcept;

} // namespace mos
