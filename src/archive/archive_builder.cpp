#include "archive/archive_builder.h"

#include <algorithm>
#include <memory>
#include <utility>

#include "archive/crc32.h"
#include "archive/zip_format.h"
#include "platform/failure.h"
#include "platform/file_replacement.h"
#include "platform/input_file.h"
#include "platform/large_memory.h"
#include "store/sha256.h"

namespace mos {
namespace {

std::span<const std::byte> bytesOf(const std::string& text) {
    return std::as_bytes(std::span(text));
}

/// A file that is replaced when it is whole, and its digest.
class ArchiveFile {
public:
    explicit ArchiveFile(const std::filesystem::path& path) : file(path) {}

    [[nodiscard]] bool isOpen() const { return file.isOpen(); }

    /// How many bytes were put.
    [[nodiscard]] std::uint64_t size() const { return putSize; }

    void put(std::span<const std::byte> bytes) {
        putSize += bytes.size();
        sum.update(bytes);
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

    /// Puts the file in its place; false when something that was put did not arrive.
    [[nodiscard]] bool commit() {
        flush();
        return !failed && file.commit();
    }

    /// The SHA-256 of what was put, once.
    [[nodiscard]] std::string digest() { return sum.finish(); }

private:
    static constexpr std::size_t bufferSize = std::size_t{64} * 1024;

    void flush() {
        failed = failed || !file.write(std::span(buffer.get(), fill));
        fill = 0;
    }

    FileReplacement file;
    Sha256 sum;
    std::uint64_t putSize = 0;
    bool failed = false;
    // NOLINTNEXTLINE(modernize-avoid-c-arrays): not cleared first
    std::unique_ptr<std::byte[]> buffer = std::make_unique_for_overwrite<std::byte[]>(bufferSize);
    std::size_t fill = 0;
};

/// Appends records to a text, field by field.
class Record {
public:
    explicit Record(std::string& text) : bytes(text) {}

    Record& field16(std::size_t value) { return field(value, 2); }
    Record& field32(std::size_t value) { return field(value, 4); }
    void text(std::string_view value) { bytes += value; }

private:
    Record& field(std::size_t value, int width) {
        for (int i = 0; i < width; ++i) {
            bytes += static_cast<char>(value >> (8 * i) & 0xFFU);
        }
        return *this;
    }

    std::string& bytes;
};

std::string localHeader(std::string_view name, const MemberContent& content) {
    std::string header;
    Record(header)
        .field32(zip::localHeaderSignature)
        .field16(zip::versionNeeded)
        .field16(0) // flags
        .field16(0) // method: stored
        .field16(0) // time and date are zero so that the same input gives the same bytes
        .field16(0)
        .field32(content.crc)
        .field32(content.size) // compressed
        .field32(content.size) // uncompressed
        .field16(name.size())
        .field16(0) // extra field length
        .text(name);
    return header;
}

void appendCentralHeader(std::string& directory, std::string_view name,
                         const MemberContent& content, std::uint64_t headerStart) {
    Record(directory)
        .field32(zip::centralHeaderSignature)
        .field16(zip::versionMadeBy)
        .field16(zip::versionNeeded)
        .field16(0) // flags
        .field16(0) // method: stored
        .field16(0) // time
        .field16(0) // date
        .field32(content.crc)
        .field32(content.size) // compressed
        .field32(content.size) // uncompressed
        .field16(name.size())
        .field16(0) // extra field length
        .field16(0) // comment length
        .field16(0) // disk number
        .field16(0) // internal attributes
        .field32(0) // external attributes
        .field32(headerStart)
        .text(name);
}

void appendEndRecord(std::string& directory, std::size_t count, std::uint64_t directoryStart) {
    const std::size_t directorySize = directory.size();
    Record(directory)
        .field32(zip::endRecordSignature)
        .field16(0) // number of this disk
        .field16(0) // disk of the central directory
        .field16(count)
        .field16(count)
        .field32(directorySize)
        .field32(directoryStart)
        .field16(0); // comment length
}

/// Copies files into an archive.
class FileCopier {
public:
    explicit FileCopier(ArchiveFile& target) : archive(target) {}

    /// Empty, or what is wrong with the file.
    std::string_view put(const std::filesystem::path& path, const MemberContent& content) {
        const std::span<std::byte> room = buffer.bytes();
        InputFile file(path);
        if (!file.isOpen()) {
            return unreadable;
        }
        std::uint64_t size = 0;
        std::uint32_t crc = 0;
        while (size <= content.size) {
            const auto piece = room.first(file.read(room));
            if (piece.empty()) {
                break;
            }
            size += piece.size();
            crc = crc32(piece, crc);
            archive.put(piece);
        }
        if (file.hasFailed()) {
            return unreadable;
        }
        return size == content.size && crc == content.crc ? "" : changed;
    }

private:
    static constexpr std::string_view unreadable = "Could not read file: ";
    static constexpr std::string_view changed = "File changed while it was packed: ";

    ArchiveFile& archive;
    LargeMemory buffer{std::size_t{256} * 1024};
};

} // namespace

void ArchiveBuilder::add(std::string_view name, MemberContent content) {
    std::string genericName(name);
    std::ranges::replace(genericName, '\\', '/');
    members.push_back({std::move(genericName), std::move(content)});
}

void ArchiveBuilder::add(std::string_view name, std::span<const std::byte> data) {
    add(name, MemberContent{data.size(), crc32(data), data});
}

bool ArchiveBuilder::write(const std::filesystem::path& path, std::string* error,
                           std::string* digest) const {
    ArchiveFile archive(path);
    if (!archive.isOpen()) {
        return fail(error, "Failed to create archive file: " + path.string());
    }
    FileCopier copier(archive);
    std::string directory;
    for (const auto& [name, content] : members) {
        appendCentralHeader(directory, name, content, archive.size());
        archive.put(bytesOf(localHeader(name, content)));
        if (const auto* file = std::get_if<std::filesystem::path>(&content.source)) {
            if (const auto problem = copier.put(*file, content); !problem.empty()) {
                return fail(error, std::string(problem) + file->string());
            }
        } else {
            archive.put(std::get<std::span<const std::byte>>(content.source));
        }
    }
    appendEndRecord(directory, members.size(), archive.size());
    archive.put(bytesOf(directory));
    if (!archive.commit()) {
        return fail(error, "Failed to write archive file: " + path.string());
    }
    if (digest != nullptr) {
        *digest = archive.digest();
    }
    return true;
}

} // namespace mos
