#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace mos {

/// The CRC-32 of ZIP (APPNOTE 4.4.7): reflected polynomial 0xEDB88320, initial value 0xFFFFFFFF,
/// final complement. 0 for no data.
[[nodiscard]] std::uint32_t crc32(std::span<const std::byte> data) noexcept;

} // namespace mos
