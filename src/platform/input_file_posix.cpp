#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

#include "platform/file_descriptor_posix.h"
#include "platform/input_file.h"

namespace mos {

struct InputFile::Handle {
    FileDescriptor file;
    std::uint64_t size = 0;
    bool failed = false;
};

InputFile::InputFile(const std::filesystem::path& path) : handle(std::make_unique<Handle>()) {
    FileDescriptor file = openDescriptor(path, O_RDONLY);
    struct stat status {};
    // A directory opens and then fails to be read.
    if (!file.isOpen() || ::fstat(file.get(), &status) != 0 || S_ISDIR(status.st_mode)) {
        return;
    }
    handle->size = S_ISREG(status.st_mode) ? static_cast<std::uint64_t>(status.st_size) : 0;
    handle->file = std::move(file);
}

InputFile::~InputFile() = default;
InputFile::InputFile(InputFile&&) noexcept = default;
InputFile& InputFile::operator=(InputFile&&) noexcept = default;

bool InputFile::isOpen() const noexcept {
    return handle->file.isOpen();
}

std::uint64_t InputFile::size() const noexcept {
    return handle->size;
}

std::size_t InputFile::read(std::span<std::byte> buffer) {
    std::size_t filled = 0;
    while (isOpen() && filled < buffer.size()) {
        const ssize_t length =
            ::read(handle->file.get(), buffer.data() + filled, buffer.size() - filled);
        if (length < 0 && errno == EINTR) {
            continue;
        }
        if (length <= 0) {
            handle->failed = handle->failed || length < 0;
            break;
        }
        filled += static_cast<std::size_t>(length);
    }
    return filled;
}

bool InputFile::seek(std::uint64_t offset) {
    if (!isOpen() || ::lseek(handle->file.get(), static_cast<off_t>(offset), SEEK_SET) < 0) {
        handle->failed = true;
        return false;
    }
    return true;
}

bool InputFile::hasFailed() const noexcept {
    return handle->failed;
}

} // namespace mos
