#pragma once

#include <cstddef>
#include <string_view>
#include <vector>

/// Scanners that pick pieces out of a registry's JSON replies without parsing them. All of them
/// take time in proportion to the text, and what they return points into it.
namespace mos {

/// More than a registry has to tell of one thing. What a text holds beyond that many pieces is left
/// out: each takes many times its length in memory.
constexpr std::size_t mostPieces = 1'000'000;

/// What stands between each quotation mark and the next one, in order. Nothing is unescaped.
[[nodiscard]] std::vector<std::string_view> quotedStrings(std::string_view text);

/// What stands between the first "[" after the quoted `key` and the next "]"; empty when a piece
/// is missing. A "]" inside the list ends it.
[[nodiscard]] std::string_view listUnderKey(std::string_view text, std::string_view key);

/// What stands between each "{" and the next "}", in order: an object that holds another one is
/// cut at the inner one's end.
[[nodiscard]] std::vector<std::string_view> objects(std::string_view text);

} // namespace mos
