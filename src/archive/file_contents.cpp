#include "archive/file_contents.h"

#include <algorithm>
#include <system_error>

#include "archive/crc32.h"

namespace mos {
namespace {

constexpr std::size_t kibibyte = 1024;
constexpr std::size_t mebibyte = 1024 * kibibyte;
constexpr std::size_t firstPieceSize = 64 * kibibyte;
constexpr std::size_t largestUsualPieceSize = 32 * mebibyte;
constexpr std::size_t checksumBufferSize = 256 * kibibyte;

/// Opening a small file again costs more than memory for it, copying a large one again less.
constexpr std::uint64_t largestHeldFile = mebibyte;
constexpr std::uint64_t mostHeld = 32 * mebibyte;

} // namespace

std::optional<MemberContent> FileContents::read(const std::filesystem::path& path) {
    InputFile file(path);
    if (!file.isOpen()) {
        return std::nullopt;
    }
    return canBeHeld(file, path) ? hold(file) : checksum(file, path);
}

bool FileContents::canBeHeld(const InputFile& file, const std::filesystem::path& path) const {
    if (file.size() <= largestHeldFile && heldSize + file.size() <= mostHeld) {
        return true;
    }
    // What is no ordinary file, and has no size, may give its bytes only once.
    std::error_code notThere;
    return file.size() == 0 || std::filesystem::equivalent(path, archivePath, notThere);
}

std::optional<MemberContent> FileContents::hold(InputFile& file) {
    const std::size_t size = file.size();
    const std::size_t length = size == 0 ? readToEnd(file) : readUpTo(file, size);
    if (file.hasFailed()) {
        return std::nullopt;
    }
    const std::span<const std::byte> content = room.first(length);
    room = room.subspan(length);
    heldSize += length;
    return MemberContent{length, crc32(content), content};
}

/// Reads no further than the size that an ordinary file had: asking for its end takes a call more.
std::size_t FileContents::readUpTo(InputFile& file, std::size_t size) {
    if (room.size() < size) {
        makeRoom(size);
    }
    return file.read(room.first(size));
}

std::size_t FileContents::readToEnd(InputFile& file) {
    std::size_t length = file.read(room);
    while (length == room.size()) {
        const std::span<std::byte> full = room;
        makeRoom(full.size() * 2);
        std::ranges::copy(full, room.begin());
        length += file.read(room.subspan(length));
    }
    return length;
}

std::optional<MemberContent> FileContents::checksum(InputFile& file,
                                                    const std::filesystem::path& path) {
    if (!buffer.has_value()) {
        buffer.emplace(checksumBufferSize);
    }
    const std::span<std::byte> bytes = buffer->bytes();
    MemberContent content{.source = path};
    for (std::size_t length = file.read(bytes); length > 0; length = file.read(bytes)) {
        content.size += length;
        content.crc = crc32(bytes.first(length), content.crc);
    }
    return file.hasFailed() ? std::nullopt : std::optional(std::move(content));
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
