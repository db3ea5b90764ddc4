// Paths are made of text in the code page of the process, which the application manifest makes
// UTF-8. The C runtime that MinGW links knows no UTF-8: it takes every byte for a character, and so
// the standard library would call "größe" "grÃ¶ÃŸe". The linker leads the one function by which the
// library reads narrow text here instead (--wrap=mbrtowc). Other compilers need none of this.
#ifdef __MINGW32__

#include <cerrno>
#include <cstddef>
#include <cwchar>

namespace mos {
namespace {

constexpr auto invalid = static_cast<std::size_t>(-1);
constexpr auto incomplete = static_cast<std::size_t>(-2);

/// A character that begins with some byte: how many bytes it has, and the bits of the first one
/// that belong to it. Length 0 for a byte that begins none.
struct Beginning {
    std::size_t length;
    char32_t bits;
};

Beginning beginning(unsigned char first) {
    if (first < 0x80U) {
        return {1, first};
    }
    if (first >= 0xC2U && first < 0xE0U) {
        return {2, first & 0x1FU};
    }
    if (first >= 0xE0U && first < 0xF0U) {
        return {3, first & 0x0FU};
    }
    if (first >= 0xF0U && first < 0xF5U) {
        return {4, first & 0x07U};
    }
    return {0, 0};
}

/// Whether UTF-8 writes `character` in `length` bytes and no fewer (RFC 3629).
bool isWrittenIn(char32_t character, std::size_t length) {
    if (length == 3) {
        return character >= 0x800U && (character < 0xD800U || character > 0xDFFFU);
    }
    return length != 4 || (character >= 0x10000U && character <= 0x10FFFFU);
}

void put(wchar_t* place, char32_t unit) {
    if (place != nullptr) {
        *place = static_cast<wchar_t>(unit);
    }
}

} // namespace

/// mbrtowc for UTF-8 (C11, 7.29.6.3.2). A character of four bytes is handed out as two UTF-16
/// units: the first takes three bytes, and the second, which `state` holds meanwhile, the last one.
extern "C" std::size_t __wrap_mbrtowc(wchar_t* unit, const char* text, std::size_t size,
                                      std::mbstate_t* state) {
    static std::mbstate_t ownState{};
    std::mbstate_t& pending = state == nullptr ? ownState : *state;
    if (text == nullptr) {
        pending = {};
        return 0;
    }
    if (size == 0) {
        return incomplete;
    }
    if (pending != 0) {
        put(unit, static_cast<char32_t>(pending));
        pending = {};
        return 1;
    }
    const auto [length, firstBits] = beginning(static_cast<unsigned char>(*text));
    char32_t character = firstBits;
    for (std::size_t index = 1; index < length; ++index) {
        if (index == size) {
            return incomplete;
        }
        const auto byte = static_cast<unsigned char>(text[index]);
        if ((byte & 0xC0U) != 0x80U) {
            errno = EILSEQ;
            return invalid;
        }
        character = (character << 6U) | (byte & 0x3FU);
    }
    if (length == 0 || !isWrittenIn(character, length)) {
        errno = EILSEQ;
        return invalid;
    }
    if (length < 4) {
        put(unit, character);
        return character == 0 ? 0 : length;
    }
    put(unit, 0xD800U + ((character - 0x10000U) >> 10U));
    pending = static_cast<std::mbstate_t>(0xDC00U + ((character - 0x10000U) & 0x3FFU));
    return length - 1;
}

} // namespace mos

#endif
