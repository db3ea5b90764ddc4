#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

#include "manifest/manifest.h"
#include "manifest/toml_value.h"

namespace mos {

/// Reads the manifest in the file `path`. On failure returns nothing and, when `error` is given,
/// the one message.
[[nodiscard]] std::optional<Manifest> load_manifest(const std::filesystem::path& path,
                                                    std::string* error);

/// Reads a manifest from its text; fails like load_manifest.
[[nodiscard]] std::optional<Manifest> parse_manifest(std::string_view text, std::string* error);

/// Reads one entry of a dependency table; nothing when the value is neither a string nor a table.
/// A constraint that does not parse is "any".
[[nodiscard]] std::optional<DependencySpec> parse_dependency_spec(std::string_view name,
                                                                  const TomlValue& value);

} // namespace mos
