#include <utility>

#include "platform/file_handle_windows.h"
#include "platform/output_file.h"
#include "platform/plain_file_name.h"

namespace mos {

struct OutputFile::Handle {
    FileHandle file;
    std::uint64_t written = 0;
    bool failed = false;
};

OutputFile::OutputFile(const std::filesystem::path& path, OutputMode mode)
    : handle(std::make_unique<Handle>()) {
    if (!isPlainFileName(path.filename().string())) {
        return;
    }
    // Emptied by hand: CREATE_ALWAYS fails on hidden files and gives every file new attributes.
    FileHandle file =
        openHandle(path, {.access = GENERIC_WRITE,
                          .disposition = static_cast<DWORD>(
                              mode == OutputMode::CreateNew ? CREATE_NEW : OPEN_ALWAYS)});
    if (file.isOpen() && isDiskFile(file) && makeEmpty(file)) {
        handle->file = std::move(file);
    }
}

OutputFile::OutputFile() noexcept = default;
OutputFile::~OutputFile() = default;
OutputFile& OutputFile::operator=(OutputFile&&) noexcept = default;

bool OutputFile::isOpen() const noexcept {
    return handle != nullptr && handle->file.isOpen();
}

bool OutputFile::write(std::span<const std::byte> bytes) {
    if (!isOpen() || handle->failed) {
        return false;
    }
    handle->failed = !writeAllAt(handle->file, handle->written, bytes);
    handle->written += bytes.size();
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
