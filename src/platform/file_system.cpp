#include "platform/file_system.h"

#include <span>
#include <system_error>

#include "platform/input_file.h"

namespace mos {
namespace {

template<typename Content>
std::optional<Content> contentOf(const std::filesystem::path& path) {
    InputFile file(path);
    if (!file.isOpen()) {
        return std::nullopt;
    }
    // The size is a hint only: devices and pipes do not tell it, and a file may grow meanwhile. One
    // byte more than the size lets the first read see the end.
    constexpr std::size_t unknownSize = 4096;
    Content content;
    content.resize(file.size() > 0 ? file.size() + 1 : unknownSize);
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

} // namespace

std::optional<std::string> readFile(const std::filesystem::path& path) {
    return contentOf<std::string>(path);
}

std::optional<std::vector<std::byte>> readBytes(const std::filesystem::path& path) {
    return contentOf<std::vector<std::byte>>(path);
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
