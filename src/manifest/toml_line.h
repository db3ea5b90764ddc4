#pragma once

#include <string>
#include <string_view>

namespace mos {

/// The line `key = "value"` of moss.toml and moss.lock, with its line feed. Deliberate: nothing is
/// escaped, so a value that holds a double quote does not load back.
[[nodiscard]] std::string tomlLine(std::string_view key, std::string_view value);

} // namespace mos
