#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "archive/archive_scanner.h"
#include "archive/extraction.h"
#include "cli/mos_exception.h"
#include "platform/download_file.h"
#include "semver/version.h"

namespace mos {

/// One cached version of a package.
struct CachedPackage {
    std::string name;
    Version version;
};

/// An archive that cannot be extracted.
class UnpackFailure final : public MosException {
public:
    UnpackFailure(const std::string& name, ExtractionFailure failure);

    ExtractionFailure cause;
};

/// Whether a file-system error of an extraction lies in the archive.
[[nodiscard]] bool liesInArchive(const std::filesystem::filesystem_error& failure) noexcept;

/// The archives of all packages that were ever installed by this user, below the tool home. Holds
/// no state: every operation asks for the tool home anew.
class PackageCache {
public:
    [[nodiscard]] static std::filesystem::path homeDir();

    /// HOME/cache/packages
    [[nodiscard]] static std::filesystem::path cacheDir();

    /// CACHE/NAME/VERSION
    [[nodiscard]] static std::filesystem::path packageDir(const std::string& name,
                                                          const Version& version);

    /// CACHE/NAME/VERSION/NAME-VERSION.mos
    [[nodiscard]] static std::filesystem::path archivePath(const std::string& name,
                                                           const Version& version);

    [[nodiscard]] static bool isCached(const std::string& name, const Version& version);

    /// Verifies the downloaded file and copies it into the cache in one step, replacing what is
    /// there. Throws MosException on a checksum mismatch and a file-system error when a directory
    /// cannot be created; false when the copy failed.
    [[nodiscard]] static bool store(const std::string& name, const Version& version,
                                    const DownloadFile& downloadedFile,
                                    const std::string& expectedChecksum);

    /// Extracts a cached archive into `destinationDir`; messages say `shownDestination`. False when
    /// it is not cached; throws UnpackFailure or a file-system error when the extraction fails.
    /// What was extracted before stays when it is the archive that is at fault; otherwise there is
    /// no `destinationDir` afterwards.
    [[nodiscard]] static bool unpack(const std::string& name, const Version& version,
                                     const std::filesystem::path& destinationDir,
                                     const std::filesystem::path& shownDestination);

    /// Extracts an archive of the cache that is open, of which nothing was read, into
    /// `destinationDir`. Throws as unpack does.
    static void unpackOpen(const std::string& name, const Version& version, ArchiveScanner& archive,
                           const std::filesystem::path& destinationDir,
                           const std::filesystem::path& shownDestination);

    /// Every cached version, in the order the file system lists them.
    [[nodiscard]] static std::vector<CachedPackage> list();

    /// Removes the whole cache.
    static void clean();
};

} // namespace mos
