#pragma once

#include <filesystem>
#include <optional>

#include "platform/staging_directory.h"
#include "registry/package_registry.h"
#include "resolver/lockfile.h"
#include "resolver/resolution.h"
#include "store/cached_archive.h"

namespace mos {

/// Makes a project's `packages` directory what a lock file says. Borrows the registry, of which
/// archives alone are asked. What is right already is not touched.
///
/// Every change is one step, or two where the system cannot exchange directories: a run that is
/// killed leaves right directories and old ones, and perhaps a missing one. Operations print what
/// they do and throw MosException and file-system errors.
class LockedInstaller {
public:
    /// `packagesDirectory` has to exist when something in it is changed.
    LockedInstaller(IRegistry& packageRegistry, std::filesystem::path packagesDirectory,
                    bool isOffline);

    /// Throws MosException when an archive of `lockfile` would have to be downloaded and must not.
    void requireArchives(const Lockfile& lockfile) const;

    /// Removes everything from the directory that is no package of `lockfile`.
    void removeOthers(const Lockfile& lockfile);

    /// Makes the directory of `package` what its archive holds. The archive comes from the cache
    /// or, where that does not hold it as it is locked, from the registry, and is verified.
    void install(const ResolvedPackage& package);

private:
    [[nodiscard]] std::optional<CachedArchive> cachedArchive(const ResolvedPackage& package) const;
    [[nodiscard]] CachedArchive downloadedArchive(const ResolvedPackage& package) const;
    void unpack(CachedArchive& archive, const std::filesystem::path& target);
    void remove(const std::filesystem::path& target);
    void emptyStaging(const std::filesystem::path& target);
    [[nodiscard]] StagingDirectory& staging();

    IRegistry& registry;
    std::filesystem::path packages;
    bool offline;
    std::optional<StagingDirectory> stagingDirectory; ///< made when something has to be changed
};

} // namespace mos
