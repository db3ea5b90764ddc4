#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "manifest/toml_value.h"

namespace mos {

/// Reads a document of the TOML subset of this program: one statement a line; strings, decimal
/// 64-bit integers, booleans, arrays and inline tables as values. Returns the root table. On
/// failure returns nothing and, when `error` is given, one message that names the line.
///
/// Time grows linearly with the text, whatever is nested, and no stack grows with the nesting.
[[nodiscard]] std::optional<TomlValue> parse(std::string_view text, std::string* error);

/// Reads one value; nothing when the text is not one.
[[nodiscard]] std::optional<TomlValue> parse_value(std::string_view text);

} // namespace mos
