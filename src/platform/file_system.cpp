#include "platform/file_system.h"

#include <span>
#include <system_error>

#include "platform/input_file.h"

namespace mos {

void raiseOn(const std::error_code& error, const char* operation,
             const std::filesystem::path& path) {
    if (error) {
        throw std::filesystem::filesystem_error(operation, path, error);
    }
}

std::error_code tryRemoveAll(const std::filesystem::path& path) {
    try {
        removeAll(path);
    } catch (const std::filesystem::filesystem_error& failure) {
        return failure.code();
    }
    return {};
}

std::optional<std::string> readFile(const std::filesystem::path& path) {
    InputFile file(path);
    if (!file.isOpen()) {
        return std::nullopt;
    }
    // The size is a hint only: devices and pipes do not tell it, and a file may grow meanwhile. One
    // byte more than the size lets the first read see the end.
    constexpr std::size_t unknownSize = 4096;
    std::string content(file.size() > 0 ? file.size() + 1 : unknownSize, '\0');
    std::size_t length = file.read(std::as_writable_bytes(std::span(content)));
    while (length == content.size()) {
        content.resize(content.size() * 2);
        length += file.read(std::as_writable_bytes(std::span(content)).subspan(length));
    }
    if (file.hasFailed()) {
        return std::nullopt;
    }
    content.resize(length);
    return content;
}

std::filesystem::path currentDirectory() {
    std::error_code error;
    std::filesystem::path directory = std::filesystem::current_path(error);
    if (error) {
        throw std::filesystem::filesystem_error("current_path", error);
    }
    return directory;
}

} // namespace mos
