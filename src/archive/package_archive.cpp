#include "archive/package_archive.h"

#include <algorithm>
#include <cstdint>
#include <deque>
#include <memory>
#include <optional>
#include <span>
#include <string_view>
#include <utility>

#include "archive/archive_scanner.h"
#include "archive/crc32.h"
#include "archive/zip_format.h"
#include "platform/output_file.h"
#include "store/background_digest.h"

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

std::span<const std::byte> bytesOf(const std::string& text) {
    return std::as_bytes(std::span(text));
}

/// A file written from front to back that knows its position and, when asked, the digest of what
/// was written.
class ArchiveFile {
public:
    explicit ArchiveFile(const std::filesystem::path& path) : file(path) {}

    /// Has the digest of everything computed that is put from now on.
    void beginDigest() { digest.emplace(); }

    /// The digest as hexadecimal digits.
    [[nodiscard]] std::string finishDigest() { return digest->finish(); }

    [[nodiscard]] bool isOpen() const { return file.isOpen(); }

    /// The position truncated to the width of its fields.
    [[nodiscard]] std::uint32_t position() const { return static_cast<std::uint32_t>(written); }

    /// Appends bytes that stay where they are until the digest is known.
    void put(std::span<const std::byte> bytes) {
        written += bytes.size();
        if (digest) {
            digest->update(bytes);
        }
        if (bytes.size() >= bufferSize) {
            flush();
            failed = failed || !file.write(bytes);
            return;
        }
        if (bytes.size() > bufferSize - fill) {
            flush();
        }
        std::ranges::copy(bytes, buffer.get() + fill);
        fill += bytes.size();
    }

    void put(std::string text) {
        kept.push_back(std::move(text));
        put(bytesOf(kept.back()));
        if (!digest) {
            kept.clear();
        }
    }

    /// Whether everything arrived.
    [[nodiscard]] bool close() {
        flush();
        const bool closed = file.close();
        return closed && !failed;
    }

private:
    static constexpr std::size_t bufferSize = std::size_t{64} * 1024;

    void flush() {
        failed = failed || !file.write(std::span(buffer.get(), fill));
        fill = 0;
    }

    OutputFile file;
    bool failed = false;
    std::uint64_t written = 0;
    // NOLINTNEXTLINE(modernize-avoid-c-arrays): not cleared first
    std::unique_ptr<std::byte[]> buffer = std::make_unique_for_overwrite<std::byte[]>(bufferSize);
    std::size_t fill = 0;
    std::deque<std::string> kept; ///< for the digest
    std::optional<BackgroundDigest> digest;
};

/// The bytes of one record, field by field.
class Record {
public:
    Record& field16(std::size_t value) { return field(value, 2); }
    Record& field32(std::size_t value) { return field(value, 4); }
    Record& text(std::string_view value) {
        bytes += value;
        return *this;
    }

    void writeTo(ArchiveFile& file) { file.put(std::move(bytes)); }

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

WrittenMember writeMember(ArchiveFile& file, const MemberView& view) {
    WrittenMember member{std::string(view.name), crc32(view.data),
                         static_cast<std::uint32_t>(view.data.size()), file.position()};
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
        .text(member.name)
        .writeTo(file);
    file.put(view.data);
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
        .text(member.name)
        .writeTo(file);
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

bool writeMembers(const std::filesystem::path& path, std::span<const MemberView> views,
                  std::string* error, std::string* digest) {
    ArchiveFile file(path);
    if (!file.isOpen()) {
        return fail(error, "Failed to create archive file: ", path);
    }
    if (digest != nullptr) {
        file.beginDigest();
    }
    std::vector<WrittenMember> members;
    members.reserve(views.size());
    for (const MemberView& view : views) {
        members.push_back(writeMember(file, view));
    }
    const std::uint32_t directoryStart = file.position();
    for (const WrittenMember& member : members) {
        writeCentralHeader(file, member);
    }
    writeEndRecord(file, members.size(), directoryStart);
    if (!file.close()) {
        return fail(error, "Failed to write archive file: ", path);
    }
    if (digest != nullptr) {
        *digest = file.finishDigest();
    }
    return true;
}

bool write(const std::filesystem::path& path, const std::vector<ArchiveEntry>& entries,
           std::string* error) {
    std::vector<MemberView> views;
    views.reserve(entries.size());
    for (const ArchiveEntry& entry : entries) {
        views.push_back({entry.name, entry.data});
    }
    return writeMembers(path, views, error);
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
