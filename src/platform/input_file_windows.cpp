#include <utility>

#include "platform/file_handle_windows.h"
#include "platform/input_file.h"

namespace mos {

struct InputFile::Handle {
    FileHandle file;
    std::uint64_t size = 0;
    std::uint64_t position = 0;
    bool failed = false;
};

InputFile::InputFile(const std::filesystem::path& path) : handle(std::make_unique<Handle>()) {
    handle->file = openHandle(path, {.access = GENERIC_READ, .flags = FILE_FLAG_SEQUENTIAL_SCAN});
    if (isOpen() && isDiskFile(handle->file)) {
        handle->size = lengthOf(handle->file).value_or(0);
    }
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
        const std::int64_t length =
            readSomeAt(handle->file, handle->position, buffer.subspan(filled));
        if (length <= 0) {
            handle->failed = handle->failed || length < 0;
            break;
        }
        handle->position += static_cast<std::uint64_t>(length);
        filled += static_cast<std::size_t>(length);
    }
    return filled;
}

bool InputFile::seek(std::uint64_t offset) {
    if (!isOpen()) {
        handle->failed = true;
        return false;
    }
    handle->position = offset;
    return true;
}

bool InputFile::hasFailed() const noexcept {
    return handle->failed;
}

} // namespace mos
