#pragma once

namespace mos {

/// Whether the running processor has the SHA-256 instructions (and SSE4.1, which the code around
/// them uses).
[[nodiscard]] bool processorHasSha256() noexcept;

/// Whether the running processor has the AVX2 instructions and the system keeps their registers.
[[nodiscard]] bool processorHasAvx2() noexcept;

} // namespace mos
