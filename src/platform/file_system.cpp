#include "platform/file_system.h"

#include <system_error>

namespace mos {

std::filesystem::path currentDirectory() {
    std::error_code error;
    std::filesystem::path directory = std::filesystem::current_path(error);
    if (error) {
        throw std::filesystem::filesystem_error("current_path", error);
    }
    return directory;
}

} // namespace mos
