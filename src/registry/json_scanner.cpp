#include "registry/json_scanner.h"

#include <string>

namespace mos {
namespace {

/// What stands between each `opening` and the next `closing` after it.
std::vector<std::string_view> piecesBetween(std::string_view text, char opening, char closing) {
    std::vector<std::string_view> pieces;
    std::size_t start = text.find(opening);
    while (start != std::string_view::npos && pieces.size() < mostPieces) {
        const std::size_t end = text.find(closing, start + 1);
        if (end == std::string_view::npos) {
            break;
        }
        pieces.push_back(text.substr(start + 1, end - start - 1));
        start = text.find(opening, end + 1);
    }
    return pieces;
}

} // namespace

std::vector<std::string_view> quotedStrings(std::string_view text) {
    return piecesBetween(text, '"', '"');
}

std::string_view listUnderKey(std::string_view text, std::string_view key) {
    const std::string needle = std::string("\"").append(key).append("\"");
    const std::size_t found = text.find(needle);
    if (found == std::string_view::npos) {
        return {};
    }
    const std::size_t opening = text.find('[', found + needle.size());
    if (opening == std::string_view::npos) {
        return {};
    }
    const std::size_t closing = text.find(']', opening + 1);
    if (closing == std::string_view::npos) {
        return {};
    }
    return text.substr(opening + 1, closing - opening - 1);
}

std::vector<std::string_view> objects(std::string_view text) {
    return piecesBetween(text, '{', '}');
}

} // namespace mos
