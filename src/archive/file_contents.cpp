#include "archive/file_contents.h"

#include <algorithm>

#include "platform/input_file.h"

namespace mos {
namespace {

constexpr std::size_t firstPieceSize = std::size_t{64} * 1024;
constexpr std::size_t largestUsualPieceSize = std::size_t{32} * 1024 * 1024;

} // namespace

std::optional<std::span<const std::byte>> FileContents::read(const std::filesystem::path& path) {
    InputFile file(path);
    if (!file.isOpen()) {
        return std::nullopt;
    }
    // The size is a hint only, as in readFile; one byte more lets the first read see the end.
    if (room.size() <= file.size()) {
        makeRoom(file.size() + 1);
    }
    std::size_t length = file.read(room);
    while (length == room.size()) {
        const std::span<std::byte> full = room;
        makeRoom(full.size() * 2);
        std::ranges::copy(full, room.begin());
        length += file.read(room.subspan(length));
    }
    if (file.hasFailed()) {
        return std::nullopt;
    }
    const std::span<const std::byte> content = room.first(length);
    room = room.subspan(length);
    return content;
}

/// Begins a new piece, larger than the one before, so that a small project takes little memory and
/// a large one few pieces.
void FileContents::makeRoom(std::size_t size) {
    const std::size_t usual =
        pieces.empty() ? firstPieceSize
                       : std::min(pieces.back().bytes().size() * 4, largestUsualPieceSize);
    room = pieces.emplace_back(std::max(size, usual)).bytes();
}

} // namespace mos
