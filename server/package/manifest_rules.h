#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "server/package/package_record.h"

namespace mos::server {

/// What a manifest says to the registry, or the reason why its package is refused.
struct ManifestReading {
    std::optional<PackageRecord> record;
    std::string refusal; ///< one line; empty when there is a record
};

/// Reads the moss.toml of a package that somebody wants to publish. Stricter than mos reads it:
/// the version is one of SemVer 2.0.0 without build metadata and of 64 characters at most, and
/// every entry of [dependencies] names a package of the registry and a constraint that parses.
[[nodiscard]] ManifestReading readPublishedManifest(std::string_view text);

/// The name under which only one package may be there: names that differ by case or by "-" and "_"
/// have the same.
[[nodiscard]] std::string foldedName(std::string_view name);

} // namespace mos::server
