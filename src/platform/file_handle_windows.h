#pragma once

#include <windows.h>

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <span>
#include <system_error>

/// What the Windows sources of this folder share; no other folder includes it.
namespace mos {

/// Owns one open handle, or none.
class FileHandle {
public:
    FileHandle() = default;
    explicit FileHandle(HANDLE opened) noexcept : handle(opened) {}
    ~FileHandle();
    FileHandle(const FileHandle&) = delete;
    FileHandle& operator=(const FileHandle&) = delete;
    FileHandle(FileHandle&& other) noexcept;
    FileHandle& operator=(FileHandle&& other) noexcept;

    [[nodiscard]] bool isOpen() const noexcept { return handle != INVALID_HANDLE_VALUE; }
    [[nodiscard]] HANDLE get() const noexcept { return handle; }

    /// Closes the handle early. False when the system reports an error. Without a handle nothing
    /// happens.
    bool close() noexcept;

private:
    HANDLE handle = INVALID_HANDLE_VALUE;
};

/// Everybody else may read, write, rename and delete the file, as they may on other systems.
constexpr DWORD shareEverything = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;

/// How a file is opened; the values are CreateFileW's.
struct OpenOptions {
    DWORD access = 0; ///< none: to ask for names and attributes only
    DWORD share = shareEverything;
    DWORD disposition = OPEN_EXISTING;
    DWORD flags = FILE_ATTRIBUTE_NORMAL;
};

/// Opens `path`; child processes do not inherit the handle. While somebody holds the file without
/// sharing it, or it is still being deleted, the attempt is repeated for as long as Patience
/// lasts. Not open on failure; GetLastError() then says why.
[[nodiscard]] FileHandle openHandle(const std::filesystem::path& path, const OpenOptions& options);

/// Opens `path`, links followed, to ask about it; directories too.
[[nodiscard]] FileHandle openForQuery(const std::filesystem::path& path);

/// Opens `path` itself, when it is a link the link, to ask about it; directories too.
[[nodiscard]] FileHandle openLinkForQuery(const std::filesystem::path& path);

/// Whether `path` is the name of something deleted, which stays until the last handle of it is
/// closed and denies every access.
[[nodiscard]] bool isBeingDeleted(const std::filesystem::path& path);

/// The attributes of what the handle has open, and of what kind it is when it is a reparse point:
/// 0 where the file system knows no kinds. Nothing, with the system's last error, when the system
/// does not tell.
[[nodiscard]] std::optional<FILE_ATTRIBUTE_TAG_INFO> attributesOf(const FileHandle& file);

/// Whether the handle is a file on a disk: no device, no console, no pipe.
[[nodiscard]] bool isDiskFile(const FileHandle& file);

/// Writes all bytes at `offset`; false on an error.
[[nodiscard]] bool writeAllAt(const FileHandle& file, std::uint64_t offset,
                              std::span<const std::byte> bytes);

/// Reads once at `offset`; the number of bytes, 0 at the end of the file, negative on an error.
[[nodiscard]] std::int64_t readSomeAt(const FileHandle& file, std::uint64_t offset,
                                      std::span<std::byte> buffer);

/// Cuts the file to `length` bytes, or lengthens it, for which the disk needs room; false on an
/// error.
[[nodiscard]] bool setLength(const FileHandle& file, std::uint64_t length);

/// The length in bytes; nothing on an error.
[[nodiscard]] std::optional<std::uint64_t> lengthOf(const FileHandle& file);

enum class LockResult {
    Locked,
    Busy,        ///< another handle holds the lock
    Unsupported, ///< the file system knows no locks
};

enum class LockWait {
    No,
    Yes, ///< never Busy
};

/// Locks the file for this handle alone until the handle is closed. No byte is kept from readers
/// and writers: only others who lock see the lock.
[[nodiscard]] LockResult lockHandle(const FileHandle& file, LockWait wait);

/// How often a file is opened and locked anew because another process took it away meanwhile: more
/// often than there are processes beside this one, and not for ever where the system cannot tell.
constexpr int mostLockAttempts = 1000;

/// Whether `path`, links followed, is the file that the handle has open. A file that was locked
/// after a wait may have been removed or renamed meanwhile.
[[nodiscard]] bool isStillAt(const FileHandle& file, const std::filesystem::path& path);

/// Deletes the file `path`, whose name is free at once although others wait for its lock with open
/// handles: the plain deletion keeps the name until the last of them is closed. Repeated for as
/// long as Patience lasts while a scanner holds the file. False on an error.
bool removeSharedFile(const std::filesystem::path& path);

/// GetLastError() as an error of errno's kind where there is one, so that its text is the same on
/// every platform.
[[nodiscard]] std::error_code lastError();

/// Whether an error says that nothing of that name is there.
[[nodiscard]] bool saysNotFound(DWORD error);

} // namespace mos
