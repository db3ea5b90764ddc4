#pragma once

#include <cstddef>
#include <filesystem>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>

#include "store/sha256.h"

/// Files of the data directory: written beside their place, flushed, moved.
namespace mos::server {

/// A file of the data directory could not be read or written. `what()` is one line.
class StoreError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// An upload on its way into a file of its own, with its digest. The file goes with the object
/// unless it was moved away. Failures are raised as StoreError.
class IncomingFile {
public:
    /// Creates an empty file with a random name in `directory`.
    explicit IncomingFile(const std::filesystem::path& directory);
    ~IncomingFile();
    IncomingFile(const IncomingFile&) = delete;
    IncomingFile& operator=(const IncomingFile&) = delete;

    void append(std::span<const std::byte> bytes);

    /// Ends the writing: flushes the file to the disk and computes its digest.
    void finish();

    [[nodiscard]] const std::filesystem::path& path() const noexcept { return filePath; }
    [[nodiscard]] std::uint64_t size() const noexcept { return byteCount; }

    /// 64 hexadecimal digits; empty before finish().
    [[nodiscard]] const std::string& digest() const noexcept { return digestText; }

    /// Moves the finished file to `target`, whose directory must exist, and flushes the directory,
    /// so that the file is there after a crash too.
    void moveTo(const std::filesystem::path& target);

private:
    std::filesystem::path filePath;
    int descriptor = -1;
    std::uint64_t byteCount = 0;
    Sha256 sha256;
    std::string digestText;
};

/// Replaces a file in one step, without flushing it. Parent directories are created.
void replaceUnflushed(const std::filesystem::path& path, std::string_view content);

/// Makes the names in a directory last over a crash.
void flushDirectory(const std::filesystem::path& path);

/// Waits until everything that was written to the file system of `path` is on the disk.
void flushFileSystem(const std::filesystem::path& path);

} // namespace mos::server
