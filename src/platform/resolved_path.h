#pragma once

#include <filesystem>
#include <optional>

namespace mos {

/// `path` as std::filesystem::weakly_canonical gives it: the existing part resolved through the
/// file system (symbolic links and junctions included), the rest normalised as text. Nothing when
/// it cannot be resolved.
[[nodiscard]] std::optional<std::filesystem::path> resolvedPath(const std::filesystem::path& path);

} // namespace mos
