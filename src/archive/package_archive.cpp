#include "archive/package_archive.h"

#include <algorithm>
#include <cstdint>
#include <memory>
#include <span>
#include <string_view>

#include "archive/archive_scanner.h"
#include "archive/crc32.h"
#include "archive/zip_format.h"
#include "platform/output_file.h"

namespace mos::PackageArchive {
namespace {

/// What the central directory repeats of a member. Wider values were truncated on purpose: there
/// are no ZIP64 records.
struct WrittenMember {
    std::string name;
    std::uint32_t crc = 0;
    std::uint32_t size = 0;
    std::uint32_t offset = 0;
};

/// A file written from front to back that knows its position and, when asked, the digest of what
/// was written.
class ArchiveFile {
public:
    ArchiveFile(const std::filesystem::path& path, Sha256* contentDigest)
        : file(path), digest(contentDigest) {}

    [[nodiscard]] bool isOpen() const { return file.isOpen(); }

    /// The position truncated to the width of its fields.
    [[nodiscard]] std::uint32_t position() const { return static_cast<std::uint32_t>(written); }

    void put(std::span<const std::byte> bytes) {
        written += bytes.size();
        while (!bytes.empty()) {
            const std::size_t count = std::min(bytes.size(), bufferSize - fill);
            std::ranges::copy(bytes.first(count), buffer.get() + fill);
            fill += count;
            bytes = bytes.subspan(count);
            if (fill == bufferSize) {
                flush();
            }
        }
    }

    /// Whether everything arrived.
    [[nodiscard]] bool close() {
        flush();
        const bool closed = file.close();
        return closed && !failed;
    }

private:
    // Small enough for the processor's second cache: what is copied, digested and written is
    // fetched from memory once.
    static constexpr std::size_t bufferSize = std::size_t{64} * 1024;

    void flush() {
        const std::span<const std::byte> bytes(buffer.get(), fill);
        fill = 0;
        if (digest != nullptr) {
            digest->update(bytes);
        }
        failed = failed || !file.write(bytes);
    }

    OutputFile file;
    Sha256* digest;
    bool failed = false;
    std::uint64_t written = 0;
    std::unique_ptr<std::byte[]> buffer = std::make_unique_for_overwrite<std::byte[]>(bufferSize);
    std::size_t fill = 0;
};

std::span<const std::byte> bytesOf(const std::string& text) {
    return std::as_bytes(std::span(text));
}

/// The bytes of one record, field by field.
class Record {
public:
    Record& field16(std::size_t value) { return field(value, 2); }
    Record& field32(std::size_t value) { return field(value, 4); }

    void writeTo(ArchiveFile& file) const { file.put(bytesOf(bytes)); }

private:
    Record& field(std::size_t value, int width) {
        for (int i = 0; i < width; ++i) {
            bytes += static_cast<char>(value >> (8 * i) & 0xFFU);
        }
        return *this;
    }

    std::string bytes;
};

bool fail(std::string* error, std::string_view sentence, const std::filesystem::path& path) {
    if (error != nullptr) {
        *error = std::string(sentence) + path.string();
    }
    return false;
}

WrittenMember writeMember(ArchiveFile& file, const ArchiveEntry& entry) {
    WrittenMember member{entry.name, crc32(entry.data),
                         static_cast<std::uint32_t>(entry.data.size()), file.position()};
    std::ranges::replace(member.name, '\\', '/');
    Record()
        .field32(zip::localHeaderSignature)
        .field16(zip::versionNeeded)
        .field16(0) // flags
        .field16(0) // method: stored
        .field16(0) // time and date are zero so that the same input gives the same bytes
        .field16(0)
        .field32(member.crc)
        .field32(member.size) // compressed
        .field32(member.size) // uncompressed
        .field16(member.name.size())
        .field16(0) // extra field length
        .writeTo(file);
    file.put(bytesOf(member.name));
    file.put(entry.data);
    return member;
}

void writeCentralHeader(ArchiveFile& file, const WrittenMember& member) {
    Record()
        .field32(zip::centralHeaderSignature)
        .field16(zip::versionMadeBy)
        .field16(zip::versionNeeded)
        .field16(0) // flags
        .field16(0) // method: stored
        .field16(0) // time
        .field16(0) // date
        .field32(member.crc)
        .field32(member.size) // compressed
        .field32(member.size) // uncompressed
        .field16(member.name.size())
        .field16(0) // extra field length
        .field16(0) // comment length
        .field16(0) // disk number
        .field16(0) // internal attributes
        .field32(0) // external attributes
        .field32(member.offset)
        .writeTo(file);
    file.put(bytesOf(member.name));
}

void writeEndRecord(ArchiveFile& file, std::size_t count, std::uint32_t directoryStart) {
    const std::uint32_t directorySize = file.position() - directoryStart;
    Record()
        .field32(zip::endRecordSignature)
        .field16(0) // number of this disk
        .field16(0) // disk of the central directory
        .field16(count)
        .field16(count)
        .field32(directorySize)
        .field32(directoryStart)
        .field16(0) // comment length
        .writeTo(file);
}

std::vector<std::byte> readWholeData(ArchiveScanner& scanner,
                                     const ArchiveScanner::Member& member) {
    std::vector<std::byte> data;
    data.reserve(static_cast<std::size_t>(member.availableSize));
    for (auto piece = scanner.data(); !piece.empty(); piece = scanner.data()) {
        data.insert(data.end(), piece.begin(), piece.end());
    }
    return data;
}

} // namespace

bool write(const std::filesystem::path& path, const std::vector<ArchiveEntry>& entries,
           std::string* error, Sha256* digest) {
    ArchiveFile file(path, digest);
    if (!file.isOpen()) {
        return fail(error, "Failed to create archive file: ", path);
    }
    std::vector<WrittenMember> members;
    members.reserve(entries.size());
    for (const ArchiveEntry& entry : entries) {
        members.push_back(writeMember(file, entry));
    }
    const std::uint32_t directoryStart = file.position();
    for (const WrittenMember& member : members) {
        writeCentralHeader(file, member);
    }
    writeEndRecord(file, members.size(), directoryStart);
    return file.close() || fail(error, "Failed to write archive file: ", path);
}

bool read(const std::filesystem::path& path, std::vector<ArchiveEntry>& entries,
          std::string* error) {
    ArchiveScanner scanner(path);
    if (!scanner.isOpen()) {
        return fail(error, "Could not open archive: ", path);
    }
    while (auto member = scanner.next()) {
        auto data = readWholeData(scanner, *member);
        entries.push_back({std::move(member->name), std::move(data)});
    }
    return !scanner.hasFailed() || fail(error, "Could not read archive: ", path);
}

} // namespace mos::PackageArchive
