#pragma once

#include <windows.h>

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

/// What the Windows sources of this folder know of the forms of paths; no other folder includes it.
namespace mos {

/// What is in front of a path that the system takes as it stands.
constexpr std::wstring_view verbatimPrefix = LR"(\\?\)";
constexpr std::wstring_view verbatimShare = LR"(\\?\UNC\)";

/// The text that a function of the system gives, which returns the length that it needs with the
/// terminating zero when the buffer is too short, the length without it otherwise, 0 on an error.
template<typename Ask>
[[nodiscard]] std::optional<std::wstring> textFrom(const Ask& ask) {
    std::wstring text(MAX_PATH, L'\0');
    for (;;) {
        const DWORD length = ask(text.data(), static_cast<DWORD>(text.size()));
        if (length == 0) {
            return std::nullopt;
        }
        const bool fits = length < text.size();
        text.resize(length);
        if (fits) {
            return text;
        }
    }
}

/// The path that the system opens for `path`, links not followed: ".." is taken as text, as the
/// system does before it looks at any link. Nothing, with the system's last error, when there is
/// none.
[[nodiscard]] std::optional<std::filesystem::path> fullPath(const std::filesystem::path& path);

/// The text by which the system takes `path`, however long that is and whatever is set up on the
/// machine.
[[nodiscard]] std::wstring systemPath(const std::filesystem::path& path);

/// The full path in the form that the system takes as it stands. Below it, paths may be longer than
/// MAX_PATH characters and names may end in a dot or a blank, which are cut off elsewhere. What has
/// no such form stays as it is.
[[nodiscard]] std::filesystem::path verbatimPath(const std::filesystem::path& path);

} // namespace mos
