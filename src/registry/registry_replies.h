#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "manifest/dependency_spec.h"
#include "registry/package_registry.h"
#include "semver/version.h"

/// What the bodies of the registry's replies say.
namespace mos {

/// The versions of a package: the strings of a JSON array, or else one version a line. What is not
/// a version is left out.
[[nodiscard]] std::vector<Version> parseVersions(std::string_view body);

[[nodiscard]] PackageInfo parsePackageInfo(std::string_view body);

/// The checksum of one version, "sha256:" put before it when it is not there; empty for none.
[[nodiscard]] std::string parseChecksum(std::string_view body);

/// The dependencies of one version. A missing constraint is "*", as is one that does not parse.
[[nodiscard]] DependencyTable parseDependencies(std::string_view body);

/// One result for each JSON object.
[[nodiscard]] std::vector<SearchResult> parseSearchResults(std::string_view body);

/// Why the registry refused: its "error" text, else a body of fewer than 300 characters, else
/// "HTTP " and the status.
[[nodiscard]] std::string describeFailure(std::string_view body, int status);

} // namespace mos
