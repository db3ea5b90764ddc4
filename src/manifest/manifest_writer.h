#pragma once

#include <filesystem>
#include <string>

#include "manifest/manifest.h"

namespace mos {

/// The text of moss.toml for `manifest`. Values are not escaped; comments, `keywords`,
/// `categories` and the versions of path and git dependencies are not written.
[[nodiscard]] std::string manifest_to_string(const Manifest& manifest);

/// Replaces the file `path` by the manifest's text as FileReplacement does. False when it cannot be
/// written; the file is then as it was.
[[nodiscard]] bool save_manifest(const Manifest& manifest, const std::filesystem::path& path);

} // namespace mos
