#include "server/package/published_text.h"

#include <cstdint>

#include "semver/trim.h"

namespace mos::server {
namespace {

char plainCharacter(char c) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte < 0x20 || byte == 0x7f) {
        return ' ';
    }
    switch (c) {
    case '"':
        return '\'';
    case '\\':
        return '/';
    case '{':
        return '(';
    case '}':
        return ')';
    default:
        return c;
    }
}

bool isContinuation(char c) {
    return (static_cast<unsigned char>(c) & 0xC0U) == 0x80U;
}

/// How many bytes the UTF-8 sequence at the front of `text` has (RFC 3629); 0 when it is none.
std::size_t sequenceLength(std::string_view text) {
    const auto first = static_cast<unsigned char>(text.front());
    const std::size_t length = first < 0x80 ? 1 : first < 0xE0 ? 2 : first < 0xF0 ? 3 : 4;
    if ((first >= 0x80 && first < 0xC2) || first > 0xF4 || text.size() < length) {
        return 0;
    }
    for (std::size_t i = 1; i < length; ++i) {
        if (!isContinuation(text[i])) {
            return 0;
        }
    }
    const auto second = length > 1 ? static_cast<unsigned char>(text[1]) : 0U;
    const bool isOverlong = (first == 0xE0 && second < 0xA0) || (first == 0xF0 && second < 0x90);
    const bool isBeyond = (first == 0xED && second > 0x9F) || (first == 0xF4 && second > 0x8F);
    return isOverlong || isBeyond ? 0 : length;
}

/// The control characters U+0080 to U+009F, which some terminals obey.
bool isUpperControl(std::string_view sequence) {
    return sequence.size() == 2 && sequence[0] == '\xC2' &&
           static_cast<unsigned char>(sequence[1]) < 0xA0;
}

} // namespace

std::string publishedText(std::string_view text) {
    std::string result;
    while (!text.empty()) {
        const std::size_t length = sequenceLength(text);
        const std::string_view sequence = text.substr(0, length);
        if (length == 0) {
            result.push_back('?');
        } else if (length == 1) {
            result.push_back(plainCharacter(text.front()));
        } else {
            result.append(isUpperControl(sequence) ? " " : sequence);
        }
        text.remove_prefix(length == 0 ? 1 : length);
    }
    return std::string(trim(result));
}

} // namespace mos::server
