#pragma once

#include <string>
#include <string_view>

namespace mos::server {

/// `text` as it may stand in a reply: valid UTF-8 on one line, and nothing that JSON has to escape
/// or that readers who scan replies instead of parsing them would stumble over. Control characters
/// become blanks, `"` becomes `'`, `\` becomes `/`, braces become parentheses, bytes that are no
/// UTF-8 become "?"; blanks at both ends go.
[[nodiscard]] std::string publishedText(std::string_view text);

} // namespace mos::server
