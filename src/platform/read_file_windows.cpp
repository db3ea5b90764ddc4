#include "platform/file_system.h"

#include <span>

#include "platform/input_file.h"

namespace mos {

std::optional<std::string> readFile(const std::filesystem::path& path) {
    InputFile file(path);
    if (!file.isOpen()) {
        return std::nullopt;
    }
    // The size is a hint only: devices and pipes do not tell it, and a file may grow meanwhile. One
    // byte more than the size lets the first read see the end.
    std::string content(file.size() > 0 ? file.size() + 1 : 4096, '\0');
    std::size_t length = 0;
    for (;;) {
        length += file.read(std::as_writable_bytes(std::span(content)).subspan(length));
        if (file.hasFailed()) {
            return std::nullopt;
        }
        if (length < content.size()) {
            content.resize(length);
            return content;
        }
        content.resize(content.size() * 2);
    }
}

} // namespace mos
