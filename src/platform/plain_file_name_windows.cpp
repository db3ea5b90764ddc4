#include "platform/plain_file_name.h"

#include <windows.h>

#include <algorithm>
#include <array>

namespace mos {
namespace {

/// Names of devices in every directory, whatever extension follows.
constexpr std::array<std::string_view, 7> devices{"CON",    "PRN",     "AUX",   "NUL",
                                                  "CONIN$", "CONOUT$", "CLOCK$"};
/// Followed by one digit they are devices too.
constexpr std::array<std::string_view, 2> numberedDevices{"COM", "LPT"};
/// The superscript digits of Latin-1, in UTF-8, count as digits.
constexpr std::array<std::string_view, 3> superscripts{"\xC2\xB9", "\xC2\xB2", "\xC2\xB3"};

char upperCase(char c) {
    return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
}

bool equalsIgnoringCase(std::string_view text, std::string_view upper) {
    return std::ranges::equal(text, upper, {}, upperCase);
}

bool isDigit(std::string_view text) {
    return (text.size() == 1 && text.front() >= '0' && text.front() <= '9') ||
           std::ranges::find(superscripts, text) != superscripts.end();
}

bool isNumberedDevice(std::string_view text) {
    return text.size() > 3 && isDigit(text.substr(3)) &&
           std::ranges::any_of(numberedDevices, [text](std::string_view device) {
               return equalsIgnoringCase(text.substr(0, 3), device);
           });
}

bool isDevice(std::string_view piece) {
    // "NUL .txt" is the device as well.
    std::string_view stem = piece.substr(0, piece.find('.'));
    stem = stem.substr(0, stem.find_last_not_of(' ') + 1);
    return isNumberedDevice(stem) || std::ranges::any_of(devices, [stem](std::string_view device) {
               return equalsIgnoringCase(stem, device);
           });
}

bool hasMeaning(char c) {
    constexpr std::string_view characters = "<>:\"|?*\\";
    return static_cast<unsigned char>(c) < 0x20 || characters.find(c) != std::string_view::npos;
}

bool isPlainPiece(std::string_view piece) {
    if (piece.empty() || piece == "." || piece == "..") {
        return true;
    }
    return piece.back() != '.' && piece.back() != ' ' && std::ranges::none_of(piece, hasMeaning) &&
           !isDevice(piece);
}

bool isUtf8(std::string_view text) {
    return text.empty() || MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, text.data(),
                                               static_cast<int>(text.size()), nullptr, 0) != 0;
}

} // namespace

bool isPlainFileName(std::string_view name) noexcept {
    // Longer than any path, and than what the system is asked about at once.
    constexpr std::size_t longest = 1U << 20U;
    if (name.size() > longest || !isUtf8(name)) {
        return false;
    }
    while (!name.empty()) {
        const std::string_view piece = name.substr(0, name.find('/'));
        name.remove_prefix(std::min(piece.size() + 1, name.size()));
        if (!isPlainPiece(piece)) {
            return false;
        }
    }
    return true;
}

} // namespace mos
