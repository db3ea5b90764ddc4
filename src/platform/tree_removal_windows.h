#pragma once

#include <filesystem>
#include <system_error>

/// What the Windows sources of this folder ask before they remove a tree; no other folder includes
/// it.
namespace mos {

/// Why `path`, or something below it, could not be removed now: another program holds it. No error
/// when all of it could, or nothing is there. What is held for a moment is waited for.
[[nodiscard]] std::error_code removalObstacle(const std::filesystem::path& path);

} // namespace mos
