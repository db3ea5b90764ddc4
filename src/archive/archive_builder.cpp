#include "archive/archive_builder.h"

#include <algorithm>
#include <memory>

#include "archive/crc32.h"
#include "archive/zip_format.h"
#include "platform/output_file.h"

namespace mos {
namespace {

/// Where a local header has the CRC of its member.
constexpr std::size_t crcOffset = 14;

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

/// The local header of a member with the CRC 0.
std::string localHeader(std::string_view name, std::size_t size) {
    std::string header;
    Record(header)
        .field32(zip::localHeaderSignature)
        .field16(zip::versionNeeded)
        .field16(0) // flags
        .field16(0) // method: stored
        .field16(0) // time and date are zero so that the same input gives the same bytes
        .field16(0)
        .field32(0)    // CRC
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
    member.header = localHeader(member.name, data.size());
    member.data = data;
    member.offset = static_cast<std::uint32_t>(position);
    position += member.header.size() + data.size();
    checksums.run([this, &member](Sha256& digest) { sum(member, digest); },
                  member.header.size() + data.size());
}

/// Called for one member after the other, perhaps beside the caller of the other functions.
void ArchiveBuilder::sum(Member& member, Sha256& digest) noexcept {
    member.crc = crc32(member.data);
    for (std::size_t i = 0; i < 4; ++i) {
        member.header[crcOffset + i] = static_cast<char>(member.crc >> (8 * i) & 0xFFU);
    }
    summedCount.fetch_add(1, std::memory_order_release);
    summedCount.notify_one();
    digest.update(bytesOf(member.header));
    digest.update(member.data);
}

void ArchiveBuilder::waitUntilSummed(std::size_t index) const noexcept {
    std::size_t count = summedCount.load(std::memory_order_acquire);
    while (count <= index) {
        summedCount.wait(count, std::memory_order_acquire);
        count = summedCount.load(std::memory_order_acquire);
    }
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
    checksums.begin();
    for (std::size_t i = 0; i < members.size(); ++i) {
        waitUntilSummed(i);
        file.put(bytesOf(members[i].header));
        file.put(members[i].data);
    }
    directory = centralDirectory();
    file.put(bytesOf(directory));
    if (!file.close()) {
        return fail(error, "Failed to write archive file: ", path);
    }
    if (digest != nullptr) {
        checksums.update(bytesOf(directory));
        *digest = checksums.finish();
    }
    return true;
}

} // namespace mos
