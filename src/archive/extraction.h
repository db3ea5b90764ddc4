#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>

#include "archive/archive_scanner.h"

namespace mos {

/// Unpacks an archive into `targetDir`. Every member's name is screened as text and as a resolved
/// path; the first that fails ends the extraction, and what was written before stays. False with
/// the reason in `error` (when given). A parent directory that cannot be created is raised as a
/// file-system error named "create_directories".
///
/// Memory does not grow with the archive.
[[nodiscard]] bool extractArchive(const std::filesystem::path& archivePath,
                                  const std::filesystem::path& targetDir, std::string* error);

/// What the messages of an extraction name.
struct ExtractionNames {
    std::filesystem::path archive;
    std::filesystem::path target; ///< where what is unpacked will be in the end
};

/// Why an extraction ended.
struct ExtractionFailure {
    std::string message;
    std::error_code reason;     ///< what the system had to say about it, if anything
    bool liesInArchive = false; ///< otherwise it is the disk or the system that lacks something
};

/// The same for an archive that is open, of which nothing was read; messages say `names`.
[[nodiscard]] std::optional<ExtractionFailure>
extractMembers(ArchiveScanner& archive, const std::filesystem::path& targetDir,
               const ExtractionNames& names);

/// Whether the system refused a name, which an archive asks for: one that no file can have, or that
/// is in another one's way.
[[nodiscard]] bool refusesName(const std::error_code& reason) noexcept;

/// Whether a member's name, as text, stays below the directory it is unpacked into: not empty, not
/// absolute, no drive letter, never climbing above its root. "\" separates like "/".
[[nodiscard]] bool isSafeEntryName(std::string_view name);

/// Whether `path` is `base` or below it once links are resolved. False when either cannot be
/// resolved.
[[nodiscard]] bool isPathWithin(const std::filesystem::path& base,
                                const std::filesystem::path& path);

} // namespace mos
