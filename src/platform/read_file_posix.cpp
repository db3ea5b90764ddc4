#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "platform/file_descriptor_posix.h"
#include "platform/file_system.h"

namespace mos {
namespace {

/// Reads once into `[offset, content.size())`; the number of bytes read, 0 at the end of the file,
/// negative on an error.
ssize_t readSome(const FileDescriptor& file, std::string& content, std::size_t offset) {
    ssize_t length = 0;
    do {
        length = ::read(file.get(), content.data() + offset, content.size() - offset);
    } while (length < 0 && errno == EINTR);
    return length;
}

} // namespace

std::optional<std::string> readFile(const std::filesystem::path& path) {
    const FileDescriptor file = openDescriptor(path, O_RDONLY);
    struct stat status {};
    if (!file.isOpen() || ::fstat(file.get(), &status) != 0) {
        return std::nullopt;
    }
    // The size is a hint only: devices and pipes do not tell it, and a file may grow meanwhile. One
    // byte more than the size lets the first read see the end.
    std::string content(
        S_ISREG(status.st_mode) ? static_cast<std::size_t>(status.st_size) + 1 : 4096, '\0');
    std::size_t length = 0;
    while (const ssize_t count = readSome(file, content, length)) {
        if (count < 0) {
            // A directory opens and then fails to be read.
            return std::nullopt;
        }
        length += static_cast<std::size_t>(count);
        if (length == content.size()) {
            content.resize(content.size() * 2);
        }
    }
    content.resize(length);
    return content;
}

} // namespace mos
