#pragma once

#include <string_view>

namespace mos {

/// Whether `text` may become one piece of a path: not empty, not "." or "..", without "/", "\",
/// ":" and control characters.
[[nodiscard]] bool isSafePathPiece(std::string_view text) noexcept;

} // namespace mos
