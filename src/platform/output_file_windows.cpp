#include <utility>

#include "platform/file_handle_windows.h"
#include "platform/full_path_windows.h"
#include "platform/output_file.h"
#include "platform/plain_file_name.h"

namespace mos {

struct OutputFile::Handle {
    FileHandle file;
    std::uint64_t written = 0;
    std::error_code error;

    /// Takes the result of a system call; returns it.
    bool noted(bool succeeded) {
        if (!succeeded) {
            error = lastError();
        }
        return succeeded;
    }
};

namespace {

/// What the system says of a directory that is opened as a file is no more than that it may not be.
bool isDirectory(const std::filesystem::path& path) {
    const DWORD attributes = GetFileAttributesW(systemPath(path).c_str());
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

} // namespace

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
    if (handle->noted(file.isOpen()) && isDiskFile(file) && handle->noted(setLength(file, 0))) {
        handle->file = std::move(file);
    } else if (handle->error == std::errc::permission_denied && isDirectory(path)) {
        handle->error = std::make_error_code(std::errc::is_a_directory);
    }
}

OutputFile::OutputFile() noexcept = default;
OutputFile::~OutputFile() = default;
OutputFile& OutputFile::operator=(OutputFile&&) noexcept = default;

bool OutputFile::isOpen() const noexcept {
    return handle != nullptr && handle->file.isOpen();
}

bool OutputFile::write(std::span<const std::byte> bytes) {
    if (!isOpen() || handle->error ||
        !handle->noted(writeAllAt(handle->file, handle->written, bytes))) {
        return false;
    }
    handle->written += bytes.size();
    return true;
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
