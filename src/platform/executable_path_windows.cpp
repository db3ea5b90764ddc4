#include <windows.h>

#include <array>
#include <string_view>

#include "platform/executable_path.h"

namespace mos {

std::optional<std::filesystem::path> executablePath() {
    // In UTF-8, which the application manifest makes the code page of the narrow functions.
    std::array<char, MAX_PATH> buffer{};
    const DWORD length = GetModuleFileNameA(nullptr, buffer.data(), MAX_PATH);
    // A path that does not fit fills the buffer.
    if (length == 0 || length >= MAX_PATH) {
        return std::nullopt;
    }
    return std::string_view(buffer.data(), length);
}

} // namespace mos
