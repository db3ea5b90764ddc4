#include "archive/archive_scanner.h"

#include <algorithm>
#include <array>
#include <utility>

#include "archive/zip_format.h"

namespace mos {
namespace {

constexpr std::size_t readBufferSize = std::size_t{64} * 1024;

std::uint32_t littleEndian(std::span<const std::byte> bytes) {
    std::uint32_t value = 0;
    for (std::size_t i = bytes.size(); i > 0; --i) {
        value = value << 8U | std::to_integer<std::uint32_t>(bytes[i - 1]);
    }
    return value;
}

} // namespace

ArchiveScanner::ArchiveScanner(const std::filesystem::path& path)
    : ArchiveScanner(InputFile(path)) {}

ArchiveScanner::ArchiveScanner(InputFile archive)
    : file(std::move(archive)), unreadLeft(file.size()) {
    // Where it was read before. What is no ordinary file, such as a pipe, has no position.
    if (file.size() > 0) {
        static_cast<void>(file.seek(0));
    }
}

bool ArchiveScanner::isOpen() const {
    return file.isOpen();
}

bool ArchiveScanner::hasFailed() const {
    return file.hasFailed();
}

std::optional<ArchiveScanner::Member> ArchiveScanner::next() {
    skipBytes(std::exchange(dataLeft, 0));
    std::array<std::byte, zip::localHeaderSize> header{};
    readBytes(header);
    const std::span<const std::byte> fields(header);
    if (littleEndian(fields.first(4)) != zip::localHeaderSignature) {
        return std::nullopt;
    }
    Member member;
    const std::size_t nameLength = littleEndian(fields.subspan(zip::localNameLengthOffset, 2));
    member.name.resize(nameLength);
    member.name.resize(readBytes(std::as_writable_bytes(std::span(member.name))));
    skipBytes(littleEndian(fields.subspan(zip::localExtraLengthOffset, 2)));
    member.claimedSize = littleEndian(fields.subspan(zip::localUncompressedSizeOffset, 4));
    member.availableSize =
        std::min<std::uint64_t>(member.claimedSize, buffered.size() + unreadLeft);
    dataLeft = member.availableSize;
    // What could not be read is no name.
    return hasFailed() ? std::nullopt : std::optional(std::move(member));
}

bool ArchiveScanner::rewind() {
    buffered = {};
    dataLeft = 0;
    unreadLeft = file.size();
    return file.seek(0) && !file.hasFailed();
}

std::span<const std::byte> ArchiveScanner::data() {
    const std::span<const std::byte> piece = take(dataLeft);
    dataLeft -= piece.size();
    return piece;
}

/// Up to `most` of the bytes behind the position, which moves behind them. None at the end of the
/// file.
std::span<const std::byte> ArchiveScanner::take(std::uint64_t most) {
    if (buffered.empty() && most > 0) {
        fillBuffer();
    }
    const auto size = static_cast<std::size_t>(std::min<std::uint64_t>(most, buffered.size()));
    const std::span<const std::byte> piece = buffered.first(size);
    buffered = buffered.subspan(size);
    return piece;
}

/// Fills `bytes` from the position on; returns how many there were.
std::size_t ArchiveScanner::readBytes(std::span<std::byte> bytes) {
    std::size_t filled = 0;
    while (filled < bytes.size()) {
        const std::span<const std::byte> piece = take(bytes.size() - filled);
        if (piece.empty()) {
            break;
        }
        std::ranges::copy(piece, bytes.subspan(filled).begin());
        filled += piece.size();
    }
    return filled;
}

void ArchiveScanner::skipBytes(std::uint64_t count) {
    const std::uint64_t inBuffer = take(std::min<std::uint64_t>(count, buffered.size())).size();
    const std::uint64_t beyond = std::min(count - inBuffer, unreadLeft);
    if (beyond == 0) {
        return;
    }
    unreadLeft -= beyond;
    if (!file.seek(file.size() - unreadLeft)) {
        // The archive seems to end here; hasFailed() tells that it does not.
        unreadLeft = 0;
    }
}

void ArchiveScanner::fillBuffer() {
    if (storage == nullptr) {
        // NOLINTNEXTLINE(modernize-avoid-c-arrays): not cleared first
        storage = std::make_unique_for_overwrite<std::byte[]>(readBufferSize);
    }
    const auto wanted =
        static_cast<std::size_t>(std::min<std::uint64_t>(unreadLeft, readBufferSize));
    const std::size_t size = file.read(std::span(storage.get(), wanted));
    // A file that ends or fails earlier than its size told ends there.
    unreadLeft = size == wanted ? unreadLeft - size : 0;
    buffered = std::span(storage.get(), size);
}

} // namespace mos
