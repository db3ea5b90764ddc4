#include <utility>

#include "platform/download_file.h"
#include "platform/file_handle_windows.h"
#include "platform/plain_file_name.h"

namespace mos {

struct DownloadFile::Handle {
    FileHandle file;
    std::uint64_t written = 0;
};

namespace {

DownloadFile::OpenResult openLocked(const std::filesystem::path& path, LockWait wait,
                                    FileHandle& opened) {
    if (!isPlainFileName(path.filename().string())) {
        return DownloadFile::OpenResult::Failed;
    }
    for (int attempt = 0; attempt < mostLockAttempts; ++attempt) {
        FileHandle file =
            openHandle(path, {.access = GENERIC_READ | GENERIC_WRITE, .disposition = OPEN_ALWAYS});
        if (!file.isOpen() || !isDiskFile(file)) {
            return DownloadFile::OpenResult::Failed;
        }
        if (lockHandle(file, wait) == LockResult::Busy) {
            return DownloadFile::OpenResult::Busy;
        }
        // The process that held the file may have removed it: the lock is then on a file that
        // nobody else will find.
        if (!isStillAt(file, path)) {
            continue;
        }
        if (!setLength(file, 0)) {
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
        return setLength(handle->file, 0) ? OpenResult::Opened : OpenResult::Failed;
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
    if (!isOpen() || !writeAllAt(handle->file, handle->written, bytes)) {
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
        const std::int64_t length =
            readSomeAt(handle->file, offset + filled, buffer.subspan(filled));
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
        removeSharedFile(filePath);
        *handle = Handle();
    }
}

} // namespace mos
