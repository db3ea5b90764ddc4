#pragma once

#include <cstddef>
#include <cstdint>

namespace mos {

/// The SHA-256 compression function (FIPS 180-4, 6.2.2) in plain C++: takes `count` consecutive
/// blocks of 64 bytes into the eight words of `state`.
void compressSha256Portable(std::uint32_t* state, const std::byte* blocks,
                            std::size_t count) noexcept;

} // namespace mos
