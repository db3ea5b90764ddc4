#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "archive/crc32_lanes.h"

namespace mos {

/// The CRC-32 of ZIP (APPNOTE 4.4.7): reflected polynomial 0xEDB88320, initial value 0xFFFFFFFF,
/// final complement. 0 for no data. `before` is that of what stands in front of the data.
[[nodiscard]] std::uint32_t crc32(std::span<const std::byte> data,
                                  std::uint32_t before = 0) noexcept;

/// The same with the given lanes.
[[nodiscard]] std::uint32_t crc32(std::span<const std::byte> data, std::uint32_t before,
                                  const Crc32Lanes& lanes) noexcept;

} // namespace mos
