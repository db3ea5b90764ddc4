#include <string>
#include <string_view>
#include <system_error>
#include <utility>

#include "platform/executable_path.h"

namespace mos {

std::optional<std::filesystem::path> executablePath() {
    constexpr std::string_view deletedMark = " (deleted)";
    std::error_code error;
    std::filesystem::path path = std::filesystem::read_symlink("/proc/self/exe", error);
    if (error) {
        return std::nullopt;
    }
    // A program that was replaced while it runs is marked; its directory is still the right one.
    const std::string& text = path.native();
    if (text.ends_with(deletedMark) && !std::filesystem::exists(path, error)) {
        path = text.substr(0, text.size() - deletedMark.size());
    }
    return path;
}

} // namespace mos
