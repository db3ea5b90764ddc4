#include <fcntl.h>

#include <utility>

#include "platform/file_descriptor_posix.h"
#include "platform/output_file.h"

namespace mos {

struct OutputFile::Handle {
    FileDescriptor file;
    bool failed = false;
};

OutputFile::OutputFile() noexcept = default;

OutputFile::OutputFile(const std::filesystem::path& path, OutputMode mode)
    : handle(std::make_unique<Handle>()) {
    const int existing = mode == OutputMode::CreateNew ? O_EXCL : O_TRUNC;
    handle->file = openDescriptor(path, O_WRONLY | O_CREAT | existing, 0666);
}

OutputFile::~OutputFile() = default;
OutputFile& OutputFile::operator=(OutputFile&&) noexcept = default;

bool OutputFile::isOpen() const noexcept {
    return handle != nullptr && handle->file.isOpen();
}

bool OutputFile::write(std::span<const std::byte> bytes) {
    if (!isOpen() || handle->failed) {
        return false;
    }
    handle->failed = !writeAll(handle->file, bytes);
    return !handle->failed;
}

bool OutputFile::close() {
    if (!isOpen()) {
        return false;
    }
    const bool closed = handle->file.close();
    return closed && !handle->failed;
}

} // namespace mos
