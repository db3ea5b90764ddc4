#pragma once

#include <string_view>

namespace mos {

/// `text` without space, tab, carriage return and line feed at both ends; other white space stays.
[[nodiscard]] std::string_view trim(std::string_view text) noexcept;

} // namespace mos
