#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "archive/archive_entry.h"

/// The .mos container: a ZIP file (APPNOTE) with stored members, zero timestamps, no extra fields,
/// no comments, no data descriptors and no ZIP64 records. The same entries give the same bytes.
namespace mos::PackageArchive {

/// Writes `entries` in their order, every "\" of a name as "/". The parent directory must exist.
/// False with the reason in `error` (when given) when the file cannot be opened or written.
///
/// Counts, lengths, sizes and offsets beyond the width of their fields are truncated.
[[nodiscard]] bool write(const std::filesystem::path& path,
                         const std::vector<ArchiveEntry>& entries, std::string* error);

/// Appends every member to `entries`, found by a forward scan over the local headers; names as
/// stored. The central directory is not consulted, no CRC is checked. False with the reason in
/// `error` (when given) when the file cannot be opened or the disk fails; a damaged or truncated
/// archive is no failure and gives the members up to the damage.
[[nodiscard]] bool read(const std::filesystem::path& path, std::vector<ArchiveEntry>& entries,
                        std::string* error);

} // namespace mos::PackageArchive
