#pragma once

#include <filesystem>
#include <optional>
#include <system_error>

namespace mos {

/// The absolute path that opening or creating `path` reaches: the existing part resolved through
/// the file system (symbolic links and junctions included), the rest normalised as text. Nothing
/// when it cannot be resolved.
///
/// Stricter than std::filesystem::weakly_canonical, which leaves links to missing files and links
/// behind "missing/.." as they are: creating a file there would follow them.
[[nodiscard]] std::optional<std::filesystem::path> resolvedPath(const std::filesystem::path& path);

/// The same, with the reason in `error` when it cannot be resolved.
[[nodiscard]] std::optional<std::filesystem::path> resolvedPath(const std::filesystem::path& path,
                                                                std::error_code& error);

/// The absolute path of something that exists, links followed. A failure is raised as
/// std::filesystem::filesystem_error, "canonical".
[[nodiscard]] std::filesystem::path canonicalPath(const std::filesystem::path& path);

} // namespace mos
