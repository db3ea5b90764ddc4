#include "archive/archive_scanner.h"

#include <algorithm>
#include <array>
#include <system_error>
#include <utility>

#include "archive/zip_format.h"

namespace mos {
namespace {

std::uint32_t littleEndian(std::span<const unsigned char> bytes) {
    std::uint32_t value = 0;
    for (std::size_t i = bytes.size(); i > 0; --i) {
        value = value << 8U | bytes[i - 1];
    }
    return value;
}

} // namespace

ArchiveScanner::ArchiveScanner(const std::filesystem::path& path) {
    // Some systems open a directory for reading and fail at the first byte.
    std::error_code ignored;
    if (std::filesystem::is_directory(path, ignored)) {
        return;
    }
    file.open(path, std::ios::in | std::ios::binary);
    if (!file.is_open()) {
        return;
    }
    const auto end = file.seekg(0, std::ios::end).tellg();
    file.seekg(0);
    bytesLeft = file ? static_cast<std::uint64_t>(end) : 0;
}

bool ArchiveScanner::isOpen() const {
    return file.is_open();
}

std::optional<ArchiveScanner::Member> ArchiveScanner::next() {
    skipBytes(std::exchange(dataLeft, 0));
    std::array<unsigned char, zip::localHeaderSize> header{};
    readBytes(header.data(), header.size());
    const std::span fields(header);
    if (littleEndian(fields.first(4)) != zip::localHeaderSignature) {
        return std::nullopt;
    }
    Member member;
    const std::uint64_t nameLength = littleEndian(fields.subspan(zip::localNameLengthOffset, 2));
    member.name.resize(static_cast<std::size_t>(std::min(nameLength, bytesLeft)));
    member.name.resize(readBytes(member.name.data(), member.name.size()));
    skipBytes(littleEndian(fields.subspan(zip::localExtraLengthOffset, 2)));
    member.claimedSize = littleEndian(fields.subspan(zip::localUncompressedSizeOffset, 4));
    member.availableSize = std::min<std::uint64_t>(member.claimedSize, bytesLeft);
    dataLeft = member.availableSize;
    return member;
}

std::size_t ArchiveScanner::readData(std::span<std::byte> buffer) {
    const std::size_t count =
        readBytes(buffer.data(), std::min<std::uint64_t>(buffer.size(), dataLeft));
    dataLeft -= count;
    return count;
}

std::size_t ArchiveScanner::readBytes(void* bytes, std::uint64_t count) {
    file.read(static_cast<char*>(bytes), static_cast<std::streamsize>(std::min(count, bytesLeft)));
    const auto readCount = static_cast<std::size_t>(file.gcount());
    // A file that ends or fails earlier than its size told ends there.
    bytesLeft = file ? bytesLeft - readCount : 0;
    return readCount;
}

void ArchiveScanner::skipBytes(std::uint64_t count) {
    if (count == 0) {
        return;
    }
    const std::uint64_t skipped = std::min(count, bytesLeft);
    file.seekg(static_cast<std::streamoff>(skipped), std::ios::cur);
    bytesLeft = file ? bytesLeft - skipped : 0;
}

} // namespace mos
