#pragma once

#include <string_view>

namespace mos {

/// Whether `text` may become one piece of a path: not empty, not "." or "..", without "/", "\",
/// ":" and control characters, and without a meaning of its own for the system (isPlainFileName).
[[nodiscard]] bool isSafePathPiece(std::string_view text) noexcept;

} // namespace mos
