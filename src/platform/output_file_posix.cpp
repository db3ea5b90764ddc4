#include <fcntl.h>

#include <cerrno>
#include <utility>

#include "platform/file_descriptor_posix.h"
#include "platform/output_file.h"

namespace mos {

struct OutputFile::Handle {
    FileDescriptor file;
    std::error_code error;

    /// Takes the result of a system call; returns it.
    bool noted(bool succeeded) {
        if (!succeeded) {
            error = std::error_code(errno, std::generic_category());
        }
        return succeeded;
    }
};

OutputFile::OutputFile() noexcept = default;

OutputFile::OutputFile(const std::filesystem::path& path, OutputMode mode)
    : handle(std::make_unique<Handle>()) {
    const int existing = mode == OutputMode::CreateNew ? O_EXCL : O_TRUNC;
    handle->file = openDescriptor(path, O_WRONLY | O_CREAT | existing, 0666);
    handle->noted(handle->file.isOpen());
}

OutputFile::~OutputFile() = default;
OutputFile& OutputFile::operator=(OutputFile&&) noexcept = default;

bool OutputFile::isOpen() const noexcept {
    return handle != nullptr && handle->file.isOpen();
}

bool OutputFile::write(std::span<const std::byte> bytes) {
    return isOpen() && !handle->error && handle->noted(writeAll(handle->file, bytes));
}

bool OutputFile::close() {
    if (!isOpen()) {
        return false;
    }
    return !handle->error && handle->noted(handle->file.close());
}

std::error_code OutputFile::error() const noexcept {
    return handle == nullptr ? std::error_code() : handle->error;
}

} // namespace mos
