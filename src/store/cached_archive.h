#pragma once

#include <filesystem>
#include <optional>
#include <string>

#include "archive/archive_scanner.h"
#include "semver/version.h"

namespace mos {

/// An archive of the cache that has the checksum it should have. It stays open: what was verified
/// is what is compared and unpacked, although another mos may put another archive in its place.
class CachedArchive {
public:
    /// The cached archive of a version; nothing when there is none or its checksum, which may be
    /// empty, is not `checksum`.
    [[nodiscard]] static std::optional<CachedArchive>
    find(const std::string& name, const Version& version, const std::string& checksum);

    /// The same, but another checksum is an error: throws MosException as verifyChecksum does.
    [[nodiscard]] static std::optional<CachedArchive>
    require(const std::string& name, const Version& version, const std::string& checksum);

    /// See the function of that name.
    [[nodiscard]] bool isUnpackedAt(const std::filesystem::path& directory);

    /// Extracts the archive into `destinationDir`. Throws as PackageCache::unpack does; messages
    /// say `shownDestination`.
    void unpack(const std::filesystem::path& destinationDir,
                const std::filesystem::path& shownDestination);

private:
    CachedArchive(std::string packageName, Version packageVersion, InputFile file);

    std::string name;
    Version version;
    ArchiveScanner scanner;
};

} // namespace mos
