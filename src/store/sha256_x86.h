#pragma once

#include <cstddef>
#include <cstdint>

namespace mos {

/// Like compressSha256Portable, with the SHA instructions of x86-64. To be called only when
/// processorHasSha256() is true.
void compressSha256X86(std::uint32_t* state, const std::byte* blocks, std::size_t count) noexcept;

} // namespace mos
