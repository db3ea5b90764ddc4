#include "archive/archive_builder.h"

#include <algorithm>
#include <memory>

#include "archive/crc32.h"
#include "archive/zip_format.h"
#include "platform/output_file.h"

namespace mos {
namespace {

std::span<const std::byte> bytesOf(const std::string& text) {
    return std::as_bytes(std::span(text));
}

/// A file written from front to back.
class ArchiveFile {
public:
    explicit ArchiveFile(const std::filesystem::path& path) : file(path) {}

    [[nodiscard]] bool isOpen() const { return file.isOpen(); }

    void put(std::span<const std::byte> bytes) {
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

std::string localHeader(std::string_view name, std::size_t size, std::uint32_t crc) {
    std::string header;
    Record(header)
        .field32(zip::localHeaderSignature)
        .field16(zip::versionNeeded)
        .field16(0) // flags
        .field16(0) // method: stored
        .field16(0) // time and date are zero so that the same input gives the same bytes
        .field16(0)
        .field32(crc)
        .field32(size) // compressed
        .field32(size) // uncompressed
        .field16(name.size())
        .field16(0) // extra field length
        .text(name);
    return header;
}

void appendEndRecord(std::string& directory, std::size_t count, std::size_t directoryStart) {
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

bool fail(std::string* error, std::string_view sentence, const std::filesystem::path& path) {
    if (error != nullptr) {
        *error = std::string(sentence) + path.string();
    }
    return false;
}

} // namespace

void ArchiveBuilder::add(std::string_view name, std::span<const std::byte> data) {
    Member& member = members.emplace_back();
    member.name = name;
    std::ranges::replace(member.name, '\\', '/');
    member.crc = crc32(data);
    member.header = localHeader(member.name, data.size(), member.crc);
    member.data = data;
    member.offset = static_cast<std::uint32_t>(position);
    position += member.header.size() + data.size();
    digestSoFar.update(bytesOf(member.header));
    digestSoFar.update(data);
}

std::string ArchiveBuilder::centralDirectory() const {
    std::string text;
    for (const Member& member : members) {
        Record(text)
            .field32(zip::centralHeaderSignature)
            .field16(zip::versionMadeBy)
            .field16(zip::versionNeeded)
            .field16(0) // flags
            .field16(0) // method: stored
            .field16(0) // time
            .field16(0) // date
            .field32(member.crc)
            .field32(member.data.size()) // compressed
            .field32(member.data.size()) // uncompressed
            .field16(member.name.size())
            .field16(0) // extra field length
            .field16(0) // comment length
            .field16(0) // disk number
            .field16(0) // internal attributes
            .field32(0) // external attributes
            .field32(member.offset)
            .text(member.name);
    }
    appendEndRecord(text, members.size(), static_cast<std::size_t>(position));
    return text;
}

bool ArchiveBuilder::write(const std::filesystem::path& path, std::string* error,
                           std::string* digest) {
    ArchiveFile file(path);
    if (!file.isOpen()) {
        return fail(error, "Failed to create archive file: ", path);
    }
    for (const Member& member : members) {
        file.put(bytesOf(member.header));
        file.put(member.data);
    }
    const std::string directory = centralDirectory();
    file.put(bytesOf(directory));
    if (!file.close()) {
        return fail(error, "Failed to write archive file: ", path);
    }
    if (digest != nullptr) {
        digestSoFar.update(bytesOf(directory));
        *digest = digestSoFar.finish();
    }
    return true;
}

} // namespace mos
