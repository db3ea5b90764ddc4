#pragma once

#include <filesystem>
#include <string>
#include <string_view>

#include "manifest/manifest.h"

namespace mos {

/// The manifest of a new project.
[[nodiscard]] Manifest newManifest(std::string_view name);

/// The texts of a new project's files.
[[nodiscard]] std::string entrySource(std::string_view name);
[[nodiscard]] std::string readmeText(std::string_view name);
[[nodiscard]] std::string_view gitignoreText() noexcept;

/// Writes one of them. Raises a file-system error named "write" when it cannot.
void writeProjectFile(const std::filesystem::path& path, std::string_view text);

} // namespace mos
