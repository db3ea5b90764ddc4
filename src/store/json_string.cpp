#include "store/json_string.h"

namespace mos {

std::string extractJsonString(std::string_view text, std::string_view key) {
    const std::string needle = std::string("\"").append(key).append("\"");
    const std::size_t found = text.find(needle);
    if (found == std::string_view::npos) {
        return {};
    }
    const std::size_t colon = text.find(':', found + needle.size());
    if (colon == std::string_view::npos) {
        return {};
    }
    const std::size_t opening = text.find('"', colon + 1);
    if (opening == std::string_view::npos) {
        return {};
    }
    const std::size_t closing = text.find('"', opening + 1);
    if (closing == std::string_view::npos) {
        return {};
    }
    return std::string(text.substr(opening + 1, closing - opening - 1));
}

} // namespace mos
