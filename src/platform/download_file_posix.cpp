#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

#include "platform/download_file.h"
#include "platform/file_descriptor_posix.h"

namespace mos {

struct DownloadFile::Handle {
    FileDescriptor file;
    std::uint64_t written = 0;
};

namespace {

bool makeEmpty(const FileDescriptor& file) {
    return ::ftruncate(file.get(), 0) == 0 && ::lseek(file.get(), 0, SEEK_SET) == 0;
}

bool isOrdinaryFile(const FileDescriptor& file) {
    struct stat status {};
    return ::fstat(file.get(), &status) == 0 && S_ISREG(status.st_mode);
}

DownloadFile::OpenResult openLocked(const std::filesystem::path& path, LockWait wait,
                                    FileDescriptor& opened) {
    for (int attempt = 0; attempt < mostLockAttempts; ++attempt) {
        FileDescriptor file = openDescriptor(path, O_RDWR | O_CREAT | O_NONBLOCK, 0666);
        if (!file.isOpen() || !isOrdinaryFile(file)) {
            return DownloadFile::OpenResult::Failed;
        }
        if (lockDescriptor(file, wait) == LockResult::Busy) {
            return DownloadFile::OpenResult::Busy;
        }
        // The process that held the file may have removed it: the lock is then on a file that
        // nobody else will find.
        if (!isStillAt(file, path)) {
            continue;
        }
        if (!makeEmpty(file)) {
            return DownloadFile::OpenResult::Failed;
        }
        opened = std::move(file);
        return DownloadFile::OpenResult::Opened;
    }
    return DownloadFile::OpenResult::Failed;
}

} // namespace

DownloadFile::DownloadFile(std::filesystem::path path)
    : filePath(std::move(path)), handle(std::make_unique<Handle>()) {}

DownloadFile::~DownloadFile() = default;
DownloadFile::DownloadFile(DownloadFile&&) noexcept = default;

const std::filesystem::path& DownloadFile::path() const noexcept {
    return filePath;
}

bool DownloadFile::isOpen() const noexcept {
    return handle != nullptr && handle->file.isOpen();
}

DownloadFile::OpenResult DownloadFile::open() {
    if (isOpen()) {
        handle->written = 0;
        return makeEmpty(handle->file) ? OpenResult::Opened : OpenResult::Failed;
    }
    return openLocked(filePath, LockWait::No, handle->file);
}

DownloadFile::OpenResult DownloadFile::waitAndOpen() {
    if (isOpen()) {
        return open();
    }
    return openLocked(filePath, LockWait::Yes, handle->file);
}

bool DownloadFile::write(std::span<const std::byte> bytes) {
    if (!isOpen() || !writeAll(handle->file, bytes)) {
        return false;
    }
    handle->written += bytes.size();
    return true;
}

std::uint64_t DownloadFile::size() const noexcept {
    return isOpen() ? handle->written : 0;
}

std::size_t DownloadFile::readAt(std::uint64_t offset, std::span<std::byte> buffer) const {
    std::size_t filled = 0;
    while (isOpen() && filled < buffer.size()) {
        const ssize_t length = ::pread(handle->file.get(), buffer.data() + filled,
                                       buffer.size() - filled, static_cast<off_t>(offset + filled));
        if (length < 0 && errno == EINTR) {
            continue;
        }
        if (length <= 0) {
            break;
        }
        filled += static_cast<std::size_t>(length);
    }
    return filled;
}

void DownloadFile::remove() noexcept {
    if (isOpen()) {
        // While it is still locked: afterwards the name may be another process's file.
        static_cast<void>(::unlink(filePath.c_str()));
        *handle = Handle();
    }
}

} // namespace mos
