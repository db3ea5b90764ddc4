#include "resolver/locked_installer.h"

#include <algorithm>
#include <set>
#include <string>
#include <system_error>
#include <utility>

#include "cli/console.h"
#include "platform/file_system.h"
#include "resolver/package_download.h"
#include "store/package_cache.h"

namespace mos {
namespace {

namespace fs = std::filesystem;

constexpr const char* stagedName = "new";

/// Whether `entry` belongs to another mos that is at work: those of runs that are gone are removed.
bool isStaging(const fs::path& entry) {
    return StagingDirectory::isName(entry.filename()) && entryKind(entry) == EntryKind::Directory;
}

} // namespace

LockedInstaller::LockedInstaller(IRegistry& packageRegistry, fs::path packagesDirectory,
                                 bool isOffline)
    : registry(packageRegistry), packages(std::move(packagesDirectory)), offline(isOffline) {}

void LockedInstaller::requireArchives(const Lockfile& lockfile) const {
    for (const ResolvedPackage& package : lockfile.packages) {
        if (offline && !PackageCache::isCached(package.name, package.version)) {
            refuseOffline(package);
        }
    }
}

void LockedInstaller::removeOthers(const Lockfile& lockfile) {
    std::set<fs::path> names;
    for (const ResolvedPackage& package : lockfile.packages) {
        names.insert(package.name);
    }
    std::vector<fs::path> entries = entriesIn(packages);
    std::ranges::sort(entries);
    for (const fs::path& entry : entries) {
        const fs::path name = entry.filename();
        if (!names.contains(name) && !isStaging(entry)) {
            printStatus("Removing", name.string());
            remove(entry);
        }
    }
}

void LockedInstaller::install(const ResolvedPackage& package) {
    const fs::path target = packages / package.name;
    auto cached = cachedArchive(package);
    const bool wasCached = cached.has_value();
    CachedArchive archive = wasCached ? *std::move(cached) : downloadedArchive(package);
    if (archive.isUnpackedAt(target)) {
        return;
    }
    if (wasCached) {
        printStatus("Unpacking", nameAndVersion(package) + " (cached)");
    }
    unpack(archive, target);
}

/// The archive that the cache holds, when it is the one that is locked.
std::optional<CachedArchive> LockedInstaller::cachedArchive(const ResolvedPackage& package) const {
    if (!offline) {
        return CachedArchive::find(package.name, package.version, package.checksum);
    }
    auto archive = CachedArchive::require(package.name, package.version, package.checksum);
    if (!archive) {
        refuseOffline(package);
    }
    return archive;
}

/// Downloads the archive into the cache.
CachedArchive LockedInstaller::downloadedArchive(const ResolvedPackage& package) const {
    std::optional<CachedArchive> archive;
    downloadPackage(registry, package, [&package, &archive](const DownloadFile& download) {
        // Another mos may empty the cache at any moment, or put another registry's archive there.
        constexpr int mostAttempts = 1000;
        for (int attempt = 0; attempt < mostAttempts && !archive; ++attempt) {
            if (!PackageCache::store(package.name, package.version, download, package.checksum)) {
                return false;
            }
            archive = CachedArchive::find(package.name, package.version, package.checksum);
        }
        return archive.has_value();
    });
    return *std::move(archive);
}

/// Puts what the archive holds in the place of whatever is at `target`.
void LockedInstaller::unpack(CachedArchive& archive, const fs::path& target) {
    archive.unpack(staging().path() / stagedName, target);
    std::error_code error;
    const bool isStaged = staging().holds(stagedName, error);
    raiseOn(error, "rename", target);
    if (!isStaged) {
        // An archive without members makes no directory.
        remove(target);
        return;
    }
    raiseOn(staging().putInPlace(stagedName, target), "rename", target);
    emptyStaging(target);
}

void LockedInstaller::remove(const fs::path& target) {
    raiseOn(staging().takeIn(target), "rename", target);
    emptyStaging(target);
}

/// Removes what was at `target`.
void LockedInstaller::emptyStaging(const fs::path& target) {
    try {
        staging().removeContents();
    } catch (const fs::filesystem_error& failure) {
        throw fs::filesystem_error("remove_all", target, failure.code());
    }
}

StagingDirectory& LockedInstaller::staging() {
    if (!stagingDirectory) {
        stagingDirectory.emplace(packages);
        raiseOn(stagingDirectory->error(), "create_directories", packages);
    }
    return *stagingDirectory;
}

} // namespace mos
