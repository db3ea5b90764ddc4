#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <span>

namespace mos {

/// A file that is being downloaded, at a path that every running mos uses for the same package.
///
/// Once open it is locked on its own handle until this object goes: no other mos writes the file,
/// and what is verified through this object is what is stored from it. Destroying the object
/// leaves the file.
class DownloadFile {
public:
    enum class OpenResult {
        Opened, ///< empty, locked and ours
        Busy,   ///< another process holds it; see waitAndOpen
        Failed, ///< it cannot be opened for writing
    };

    explicit DownloadFile(std::filesystem::path path);
    ~DownloadFile();
    DownloadFile(const DownloadFile&) = delete;
    DownloadFile& operator=(const DownloadFile&) = delete;
    DownloadFile(DownloadFile&&) noexcept;
    DownloadFile& operator=(DownloadFile&&) = delete;

    [[nodiscard]] const std::filesystem::path& path() const noexcept;
    [[nodiscard]] bool isOpen() const noexcept;

    /// Opens the file for writing, empty, without waiting for another process. On a file that is
    /// open already it empties the file. The parent directory must exist.
    [[nodiscard]] OpenResult open();

    /// Like open, but waits until no other process holds the file. Never Busy.
    [[nodiscard]] OpenResult waitAndOpen();

    /// Appends bytes; false when the disk does not take them.
    [[nodiscard]] bool write(std::span<const std::byte> bytes);

    /// The number of bytes that were written since it was opened.
    [[nodiscard]] std::uint64_t size() const noexcept;

    /// Reads up to `buffer.size()` bytes from `offset`; 0 at the end; nothing more on an error
    /// than on the end.
    [[nodiscard]] std::size_t readAt(std::uint64_t offset, std::span<std::byte> buffer) const;

    /// Removes the file, lock and all. Without an open file nothing happens.
    void remove() noexcept;

private:
    struct Handle;
    std::filesystem::path filePath;
    std::unique_ptr<Handle> handle;
};

} // namespace mos
