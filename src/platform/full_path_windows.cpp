#include "platform/full_path_windows.h"

namespace mos {
namespace {

constexpr std::wstring_view sharePrefix = LR"(\\)";
constexpr std::wstring_view devicePrefix = LR"(\\.\)";

/// Whether what `text` leads to does not depend on the current directory.
bool isWhole(std::wstring_view text) {
    return text.starts_with(sharePrefix) ||
           (text.size() > 2 && text[1] == L':' && (text[2] == L'\\' || text[2] == L'/'));
}

} // namespace

std::optional<std::filesystem::path> fullPath(const std::filesystem::path& path) {
    return textFrom([&path](wchar_t* buffer, DWORD size) {
        return GetFullPathNameW(path.c_str(), size, buffer, nullptr);
    });
}

std::wstring systemPath(const std::filesystem::path& path) {
    // Of a directory, which is to have room for a file with a short name.
    constexpr std::size_t longest = 247;
    const std::wstring& text = path.native();
    if (!isWhole(text)) {
        const auto full = fullPath(path);
        return full && full->native().size() > longest ? verbatimPath(*full).native() : text;
    }
    return text.size() > longest ? verbatimPath(path).native() : text;
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
