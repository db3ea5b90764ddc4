#include "platform/file_system.h"

#include <system_error>

namespace mos {
namespace {

// Another process may remove or create what is being worked on, which then fails halfway: begin
// again with what is there now.
constexpr int mostAttempts = 1000;

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
    for (int attempt = 0; attempt < mostAttempts; ++attempt) {
        std::filesystem::create_directories(path, error);
        if (error != std::errc::no_such_file_or_directory) {
            break;
        }
    }
    raiseOn(error, "create_directories", path);
}

void removeAll(const std::filesystem::path& path) {
    std::error_code error;
    for (int attempt = 0; attempt < mostAttempts; ++attempt) {
        std::filesystem::remove_all(path, error);
        if (error != std::errc::no_such_file_or_directory &&
            error != std::errc::directory_not_empty) {
            break;
        }
    }
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

} // namespace mos
