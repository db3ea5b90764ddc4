#include "platform/file_system.h"

#include <cstdint>
#include <fstream>
#include <system_error>

namespace mos {
namespace {

void raiseOn(const std::error_code& error, const char* operation,
             const std::filesystem::path& path) {
    if (error) {
        throw std::filesystem::filesystem_error(operation, path, error);
    }
}

} // namespace

bool pathExists(const std::filesystem::path& path) {
    std::error_code error;
    const bool found = std::filesystem::exists(path, error);
    raiseOn(error, "exists", path);
    return found;
}

bool directoryExists(const std::filesystem::path& path) {
    std::error_code error;
    const std::filesystem::file_status status = std::filesystem::status(path, error);
    if (status.type() == std::filesystem::file_type::not_found) {
        return false;
    }
    raiseOn(error, "exists", path);
    return std::filesystem::is_directory(status);
}

void createDirectories(const std::filesystem::path& path) {
    std::error_code error;
    std::filesystem::create_directories(path, error);
    raiseOn(error, "create_directories", path);
}

void removeAll(const std::filesystem::path& path) {
    std::error_code error;
    std::filesystem::remove_all(path, error);
    raiseOn(error, "remove_all", path);
}

std::filesystem::path currentDirectory() {
    std::error_code error;
    std::filesystem::path directory = std::filesystem::current_path(error);
    if (error) {
        throw std::filesystem::filesystem_error("current_path", error);
    }
    return directory;
}

std::optional<std::string> readFile(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        return std::nullopt;
    }
    // The size is a hint only: devices and pipes do not tell it, and a file may grow meanwhile. One
    // byte more than the size lets the first read see the end.
    std::error_code error;
    const std::uintmax_t size = std::filesystem::file_size(path, error);
    std::string content(error ? 4096 : static_cast<std::size_t>(size) + 1, '\0');
    std::size_t length = 0;
    for (;;) {
        file.read(content.data() + length, static_cast<std::streamsize>(content.size() - length));
        length += static_cast<std::size_t>(file.gcount());
        // A directory opens on some systems and then fails to be read.
        if (file.bad()) {
            return std::nullopt;
        }
        if (file.eof()) {
            content.resize(length);
            return content;
        }
        content.resize(content.size() * 2);
    }
}

} // namespace mos
