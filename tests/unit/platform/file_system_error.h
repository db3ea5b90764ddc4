#pragma once

#include <filesystem>
#include <functional>
#include <string>

namespace mos::test {

/// The text of the file-system error that `operation` raises.
[[nodiscard]] inline std::string errorOf(const std::function<void()>& operation) {
    try {
        operation();
    } catch (const std::filesystem::filesystem_error& error) {
        return error.what();
    }
    return "no error";
}

} // namespace mos::test
