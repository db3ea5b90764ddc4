#pragma once

#include <sys/types.h>

#include <cstddef>
#include <filesystem>
#include <span>

/// What the POSIX sources of this folder share; no other folder includes it.
namespace mos {

/// Owns one open file descriptor, or none.
class FileDescriptor {
public:
    FileDescriptor() = default;
    explicit FileDescriptor(int descriptor) noexcept : number(descriptor) {}
    ~FileDescriptor();
    FileDescriptor(const FileDescriptor&) = delete;
    FileDescriptor& operator=(const FileDescriptor&) = delete;
    FileDescriptor(FileDescriptor&& other) noexcept;
    FileDescriptor& operator=(FileDescriptor&& other) noexcept;

    [[nodiscard]] bool isOpen() const noexcept { return number >= 0; }
    [[nodiscard]] int get() const noexcept { return number; }

    /// Closes the descriptor now; false when none is open or something that was written did not
    /// arrive.
    [[nodiscard]] bool close() noexcept;

private:
    int number = -1;
};

/// Opens `path`, closed in child processes. Not open on failure; errno then says why.
[[nodiscard]] FileDescriptor openDescriptor(const std::filesystem::path& path, int flags,
                                            mode_t mode = 0);

/// Writes all bytes at the descriptor's position; false on an error.
[[nodiscard]] bool writeAll(const FileDescriptor& file, std::span<const std::byte> bytes);

enum class LockResult {
    Locked,
    Busy,        ///< another process holds the lock
    Unsupported, ///< the file system knows no locks
};

enum class LockWait {
    No,
    Yes, ///< never Busy
};

/// Locks the file for this handle alone until the handle is closed.
[[nodiscard]] LockResult lockDescriptor(const FileDescriptor& file, LockWait wait);

/// How often a file is opened and locked anew because another process took it away meanwhile: more
/// often than there are processes beside this one, and not for ever where the system cannot tell.
constexpr int mostLockAttempts = 1000;

/// Whether `path`, links followed, is the file that the descriptor has open. A file that was locked
/// after a wait may have been removed or renamed meanwhile. When it is not, errno says why: ESTALE
/// where `path` leads to another file.
[[nodiscard]] bool isStillAt(const FileDescriptor& file, const std::filesystem::path& path);

} // namespace mos
