#pragma once

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "semver/version.h"

namespace mos {

/// The file name of a package's archive: NAME-VERSION.mos.
[[nodiscard]] std::string archiveFileName(std::string_view name, const Version& version);

/// Packs moss.toml, README.md and LICENSE (where they exist) and every regular file below src of
/// the project into `archivePath`. The outputs are optional: `checksum` receives "sha256:" and the
/// digest of the archive, `files` the member names in their order, both on success only; `error`
/// the reason when the result is false.
[[nodiscard]] bool createPackage(const std::filesystem::path& projectRoot,
                                 const std::filesystem::path& archivePath, std::string* checksum,
                                 std::vector<std::string>* files, std::string* error);

/// The same into a file of that name below the project. False, with nothing written, for a name
/// that leads out of the project: a version may hold ".." and separators, and so come from a
/// project that wants more than to be packed.
[[nodiscard]] bool packProject(const std::filesystem::path& projectRoot,
                               const std::string& archiveName, std::string* checksum,
                               std::vector<std::string>* files, std::string* error);

} // namespace mos
