#pragma once

#include <string>
#include <string_view>

namespace mos {

/// The string value of `key` in a JSON text, found by scanning instead of parsing: the first place
/// where the key stands in quotation marks, the next ":", and the text between the next two
/// quotation marks. Empty when a piece is missing.
///
/// Files and registries rely on what follows from that: nothing is unescaped, so a value ends at
/// an escaped quotation mark too; a value that is no string is passed over and the next string of
/// the text is taken; a key's name inside another value counts when it comes first.
[[nodiscard]] std::string extractJsonString(std::string_view text, std::string_view key);

} // namespace mos
