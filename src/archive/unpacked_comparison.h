#pragma once

#include <filesystem>

#include "archive/archive_scanner.h"

namespace mos {

/// Whether `directory` is what unpacking the archive there would make, and nothing else: the same
/// files with the same bytes, the same directories, no link and nothing besides. An archive without
/// members makes no directory. False for an archive that cannot be read or unpacked.
///
/// `archive` has to stand at its first member; where it stands afterwards is not told. Memory grows
/// with the number of names, not with what the files hold.
[[nodiscard]] bool isUnpackedAt(ArchiveScanner& archive, const std::filesystem::path& directory);

} // namespace mos
