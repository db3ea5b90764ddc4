#include "resolver/path_piece.h"

#include <algorithm>

#include "platform/plain_file_name.h"

namespace mos {
namespace {

bool isUnsafe(char c) {
    const auto byte = static_cast<unsigned char>(c);
    return byte < 0x20 || byte == 0x7F || c == '/' || c == '\\' || c == ':';
}

} // namespace

bool isSafePathPiece(std::string_view text) noexcept {
    return !text.empty() && text != "." && text != ".." && std::ranges::none_of(text, isUnsafe) &&
           isPlainFileName(text);
}

} // namespace mos
