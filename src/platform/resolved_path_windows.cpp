#include "platform/resolved_path.h"

#include <windows.h>

#include <winioctl.h>

#include <array>
#include <cstddef>
#include <cstring>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>

#include "platform/file_handle_windows.h"
#include "platform/full_path_windows.h"

// The standard library of the compiler used here sees neither junctions nor symbolic links. What a
// path leads to is asked of the system instead: it names the final path of an open handle. For
// what cannot be opened because it is not there, the nearest directory that is there answers. A
// link that leads to nothing stops at itself; its own text is read then.

namespace mos {
namespace {

/// As many links as the system itself follows before it gives up.
constexpr int maximumLinks = 63;

/// The part of a reparse point's data that links have in common. The substitute name lies behind
/// the fields, for symbolic links behind four more bytes of flags.
struct LinkHeader {
    ULONG tag;
    USHORT dataLength;
    USHORT reserved;
    USHORT nameOffset; ///< in bytes
    USHORT nameLength; ///< in bytes
    USHORT printNameOffset;
    USHORT printNameLength;
};
constexpr std::size_t symbolicLinkFlagsSize = 4;
constexpr std::size_t mostReparseData = std::size_t{16} * 1024;

constexpr std::wstring_view nativePrefix = LR"(\??\)";
constexpr std::wstring_view nativeShare = LR"(\??\UNC\)";

/// `text` in the form that programs exchange: "C:\x", "\\server\share\x".
std::wstring usualForm(std::wstring_view text) {
    for (const std::wstring_view share : {verbatimShare, nativeShare}) {
        if (text.starts_with(share)) {
            return std::wstring(LR"(\\)").append(text.substr(share.size()));
        }
    }
    for (const std::wstring_view prefix : {verbatimPrefix, nativePrefix}) {
        // Behind the prefix may be a volume without a letter, which only the prefix makes a path.
        if (text.starts_with(prefix) && text.substr(prefix.size()).find(L':') == 1) {
            return std::wstring(text.substr(prefix.size()));
        }
    }
    if (text.starts_with(nativePrefix)) {
        return std::wstring(verbatimPrefix).append(text.substr(nativePrefix.size()));
    }
    return std::wstring(text);
}

std::optional<std::filesystem::path> finalPath(const FileHandle& file) {
    const auto asked = [&file](DWORD form) {
        return textFrom([&file, form](wchar_t* buffer, DWORD size) {
            return GetFinalPathNameByHandleW(file.get(), buffer, size, form);
        });
    };
    auto text = asked(FILE_NAME_NORMALIZED);
    if (!text) {
        // On a share every directory above is opened for it, which not everybody may.
        text = asked(FILE_NAME_OPENED);
    }
    return text ? std::optional<std::filesystem::path>(usualForm(*text)) : std::nullopt;
}

/// The text of the link that the handle has open; nothing when it is none.
std::optional<std::filesystem::path> linkText(const FileHandle& link) {
    std::array<std::byte, mostReparseData> data; // NOLINT(cppcoreguidelines-pro-type-member-init)
    DWORD size = 0;
    LinkHeader header{};
    if (DeviceIoControl(link.get(), FSCTL_GET_REPARSE_POINT, nullptr, 0, data.data(),
                        static_cast<DWORD>(data.size()), &size, nullptr) == FALSE ||
        size < sizeof header) {
        return std::nullopt;
    }
    std::memcpy(&header, data.data(), sizeof header);
    if (header.tag != IO_REPARSE_TAG_SYMLINK && header.tag != IO_REPARSE_TAG_MOUNT_POINT) {
        return std::nullopt;
    }
    const std::size_t names =
        sizeof header + (header.tag == IO_REPARSE_TAG_SYMLINK ? symbolicLinkFlagsSize : 0);
    if (names + header.nameOffset + header.nameLength > size) {
        return std::nullopt;
    }
    std::wstring text(header.nameLength / sizeof(wchar_t), L'\0');
    std::memcpy(text.data(), data.data() + names + header.nameOffset,
                text.size() * sizeof(wchar_t));
    return usualForm(text);
}

/// A full path cut in two.
struct CutPath {
    std::filesystem::path existing; ///< resolved, up to the first piece that cannot be opened
    std::filesystem::path piece;    ///< that piece; empty when there is none
    std::filesystem::path rest;     ///< what follows it
};

/// Nothing, with the system's last error, when the system refuses to say what is there.
std::optional<CutPath> cut(const std::filesystem::path& full) {
    CutPath parts;
    std::filesystem::path head = full;
    for (;;) {
        const FileHandle file = openForQuery(head);
        if (file.isOpen()) {
            if (!isDiskFile(file)) {
                SetLastError(ERROR_INVALID_NAME);
                return std::nullopt;
            }
            auto resolved = finalPath(file);
            if (!resolved) {
                return std::nullopt;
            }
            parts.existing = std::move(*resolved);
            return parts;
        }
        if (!saysNotFound(GetLastError()) || !head.has_relative_path()) {
            return std::nullopt;
        }
        if (!parts.piece.empty()) {
            parts.rest = parts.rest.empty() ? parts.piece : parts.piece / parts.rest;
        }
        parts.piece = head.filename();
        head = head.parent_path();
    }
}

std::filesystem::path joined(std::filesystem::path path, const std::filesystem::path& rest) {
    return rest.empty() ? path : path / rest;
}

} // namespace

std::optional<std::filesystem::path> resolvedPath(const std::filesystem::path& path) {
    std::error_code error;
    return resolvedPath(path, error);
}

std::optional<std::filesystem::path> resolvedPath(const std::filesystem::path& path,
                                                  std::error_code& error) {
    error.clear();
    std::filesystem::path next = path;
    for (int links = 0; links < maximumLinks; ++links) {
        auto full = fullPath(next);
        if (full && full->has_relative_path() && !full->has_filename()) {
            full = full->parent_path();
        }
        const auto parts = full ? cut(*full) : std::nullopt;
        if (!parts) {
            error = lastError();
            return std::nullopt;
        }
        if (parts->piece.empty()) {
            return parts->existing;
        }
        const std::filesystem::path missing = parts->existing / parts->piece;
        const FileHandle link = openLinkForQuery(missing);
        if (!link.isOpen()) {
            return joined(missing, parts->rest);
        }
        // A link to something that is missing: writing to it would create its target.
        // What is no link has come into being this moment and is asked again.
        if (const auto text = linkText(link)) {
            next = joined(parts->existing / *text, parts->rest);
        }
    }
    error = std::make_error_code(std::errc::too_many_symbolic_link_levels);
    return std::nullopt;
}

std::filesystem::path canonicalPath(const std::filesystem::path& path) {
    const FileHandle file = openForQuery(path);
    if (!file.isOpen()) {
        throw std::filesystem::filesystem_error("canonical", path, lastError());
    }
    auto resolved = finalPath(file);
    if (!resolved) {
        throw std::filesystem::filesystem_error("canonical", path, lastError());
    }
    return std::move(*resolved);
}

} // namespace mos
