#include "platform/plain_file_name.h"

#include <windows.h>

#include <algorithm>

#include "platform/windows_device.h"

namespace mos {
namespace {

bool hasMeaning(char c) {
    constexpr std::string_view characters = "<>:\"|?*\\";
    return static_cast<unsigned char>(c) < 0x20 || characters.find(c) != std::string_view::npos;
}

bool isPlainPiece(std::string_view piece) {
    if (piece.empty() || piece == "." || piece == "..") {
        return true;
    }
    return piece.back() != '.' && piece.back() != ' ' && std::ranges::none_of(piece, hasMeaning) &&
           !isWindowsDevice(piece);
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
