#include "platform/full_path_windows.h"

namespace mos {
namespace {

constexpr std::wstring_view sharePrefix = LR"(\\)";
constexpr std::wstring_view devicePrefix = LR"(\\.\)";

} // namespace

std::optional<std::filesystem::path> fullPath(const std::filesystem::path& path) {
    return textFrom([&path](wchar_t* buffer, DWORD size) {
        return GetFullPathNameW(path.c_str(), size, buffer, nullptr);
    });
}

std::filesystem::path verbatimPath(const std::filesystem::path& path) {
    const auto full = fullPath(path);
    if (!full || path.native().starts_with(verbatimPrefix)) {
        return path;
    }
    const std::wstring_view text = full->native();
    if (text.starts_with(devicePrefix)) {
        return *full;
    }
    if (text.starts_with(sharePrefix)) {
        return std::wstring(verbatimShare).append(text.substr(sharePrefix.size()));
    }
    return std::wstring(verbatimPrefix).append(text);
}

} // namespace mos
