#include "platform/file_descriptor_posix.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

namespace mos {

FileDescriptor::~FileDescriptor() {
    static_cast<void>(close());
}

FileDescriptor::FileDescriptor(FileDescriptor&& other) noexcept
    : number(std::exchange(other.number, -1)) {}

FileDescriptor& FileDescriptor::operator=(FileDescriptor&& other) noexcept {
    FileDescriptor taken(std::move(other));
    std::swap(number, taken.number);
    return *this;
}

bool FileDescriptor::close() noexcept {
    const int descriptor = std::exchange(number, -1);
    if (descriptor < 0) {
        return false;
    }
    // Linux has closed the descriptor even when a signal interrupted it.
    return ::close(descriptor) == 0 || errno == EINTR;
}

FileDescriptor openDescriptor(const std::filesystem::path& path, int flags, mode_t mode) {
    int number = -1;
    do {
        number = ::open(path.c_str(), flags | O_CLOEXEC, mode);
    } while (number < 0 && errno == EINTR);
    return FileDescriptor(number);
}

bool writeAll(const FileDescriptor& file, std::span<const std::byte> bytes) {
    while (!bytes.empty()) {
        const ssize_t written = ::write(file.get(), bytes.data(), bytes.size());
        if (written < 0) {
            if (errno == EINTR) {
                continue;
            }
            return false;
        }
        bytes = bytes.subspan(static_cast<std::size_t>(written));
    }
    return true;
}

LockResult lockDescriptor(const FileDescriptor& file, LockWait wait) {
    const int operation = wait == LockWait::Yes ? LOCK_EX : LOCK_EX | LOCK_NB;
    while (::flock(file.get(), operation) != 0) {
        if (errno == EWOULDBLOCK) {
            return LockResult::Busy;
        }
        if (errno != EINTR) {
            return LockResult::Unsupported;
        }
    }
    return LockResult::Locked;
}

bool isStillAt(const FileDescriptor& file, const std::filesystem::path& path) {
    struct stat open {};
    struct stat named {};
    if (::fstat(file.get(), &open) != 0 || ::stat(path.c_str(), &named) != 0) {
        return false;
    }
    errno = ESTALE;
    return open.st_dev == named.st_dev && open.st_ino == named.st_ino;
}

} // namespace mos
