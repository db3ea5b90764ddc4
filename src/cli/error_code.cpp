#include "cli/error_code.h"

#include <array>
#include <cstddef>

namespace mos {
namespace {

struct CodeText {
    std::string_view code;
    std::string_view title;
};

constexpr std::array<CodeText, 12> codeTexts{{
    {"MOS001", "manifest parse error"},
    {"MOS002", "invalid package name"},
    {"MOS003", "invalid version or constraint"},
    {"MOS004", "dependency not found"},
    {"MOS005", "dependency conflict"},
    {"MOS006", "package not found"},
    {"MOS007", "checksum verification failed"},
    {"MOS008", "registry error"},
    {"MOS009", "authentication error"},
    {"MOS010", "invalid package archive"},
    {"MOS011", "path traversal security violation"},
    {"MOS012", "build failed"},
}};

CodeText textOf(ErrorCode code) noexcept {
    const auto value = static_cast<std::int32_t>(code);
    if (value < 0 || static_cast<std::size_t>(value) >= codeTexts.size()) {
        return {"MOS000", "error"};
    }
    return codeTexts[static_cast<std::size_t>(value)];
}

} // namespace

std::string_view displayCode(ErrorCode code) noexcept {
    return textOf(code).code;
}

std::string_view errorTitle(ErrorCode code) noexcept {
    return textOf(code).title;
}

} // namespace mos
