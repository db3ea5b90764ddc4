#pragma once

#include <string_view>

namespace mos {

/// The whole help text, with its final line feed.
[[nodiscard]] std::string_view helpText() noexcept;

/// The version line, with its line feed.
[[nodiscard]] std::string_view versionText() noexcept;

} // namespace mos
