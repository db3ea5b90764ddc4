#include "resolver/locked_installer.h"

#include <algorithm>
#include <set>
#include <string>
#include <system_error>
#include <utility>

#include "archive/unpacked_comparison.h"
#include "cli/console.h"
#include "platform/file_system.h"
#include "platform/input_file.h"
#include "resolver/package_download.h"
#include "store/checksum.h"
#include "store/package_cache.h"

namespace mos {
namespace {

namespace fs = std::filesystem;

constexpr const char* stagedName = "new";

InputFile openCached(const ResolvedPackage& package) {
    return InputFile(PackageCache::archivePath(package.name, package.version));
}

void raiseOn(const std::error_code& error, const char* operation, const fs::path& path) {
    if (error) {
        throw fs::filesystem_error(operation, path, error);
    }
}

} // namespace

LockedInstaller::LockedInstaller(IRegistry& packageRegistry, fs::path packagesDirectory,
                                 bool isOffline)
    : registry(packageRegistry), packages(std::move(packagesDirectory)), offline(isOffline) {}

void LockedInstaller::removeOthers(const Lockfile& lockfile) {
    std::set<fs::path> names;
    for (const ResolvedPackage& package : lockfile.packages) {
        names.insert(package.name);
    }
    std::vector<fs::path> entries = entriesIn(packages);
    std::ranges::sort(entries);
    for (const fs::path& entry : entries) {
        const fs::path name = entry.filename();
        // What is staged belongs to another mos that is at work.
        if (!names.contains(name) && !StagingDirectory::isName(name)) {
            printStatus("Removing", name.string());
            remove(entry);
        }
    }
}

void LockedInstaller::install(const ResolvedPackage& package) {
    const fs::path target = packages / package.name;
    auto cached = cachedArchive(package);
    const bool wasCached = cached.has_value();
    ArchiveScanner archive = wasCached ? *std::move(cached) : downloadedArchive(package);
    if (isUnpackedAt(archive, target)) {
        return;
    }
    if (wasCached) {
        printStatus("Unpacking", nameAndVersion(package) + " (cached)");
    }
    unpack(package, archive, target);
}

/// The archive that the cache holds, when it is the one that is locked. What was verified stays
/// open: another mos may put another archive in its place at any moment.
std::optional<ArchiveScanner> LockedInstaller::cachedArchive(const ResolvedPackage& package) const {
    const bool isCached = PackageCache::isCached(package.name, package.version);
    if (!isCached && offline) {
        refuseOffline(package);
    }
    if (!isCached) {
        return std::nullopt;
    }
    InputFile file = openCached(package);
    if (offline) {
        verifyChecksum(package.name, package.version, file, package.checksum);
    } else if (!file.isOpen() || !hasChecksum(file, package.checksum)) {
        return std::nullopt;
    }
    return ArchiveScanner(std::move(file));
}

/// Downloads the archive into the cache.
ArchiveScanner LockedInstaller::downloadedArchive(const ResolvedPackage& package) const {
    std::optional<ArchiveScanner> archive;
    downloadPackage(registry, package, [&package, &archive](const DownloadFile& download) {
        // Another mos may empty the cache at any moment, or put another registry's archive there.
        constexpr int mostAttempts = 1000;
        for (int attempt = 0; attempt < mostAttempts && !archive; ++attempt) {
            if (!PackageCache::store(package.name, package.version, download, package.checksum)) {
                return false;
            }
            InputFile file = openCached(package);
            if (file.isOpen() && hasChecksum(file, package.checksum)) {
                archive.emplace(std::move(file));
            }
        }
        return archive.has_value();
    });
    return *std::move(archive);
}

/// Puts what the archive holds in the place of whatever is at `target`.
void LockedInstaller::unpack(const ResolvedPackage& package, ArchiveScanner& archive,
                             const fs::path& target) {
    const fs::path staged = staging().path() / stagedName;
    static_cast<void>(archive.rewind());
    PackageCache::unpackOpen(package.name, package.version, archive, staged, target);
    if (!pathExists(staged)) {
        // An archive without members makes no directory.
        remove(target);
        return;
    }
    raiseOn(staging().putInPlace(stagedName, target), "rename", target);
    staging().removeContents();
}

void LockedInstaller::remove(const fs::path& target) {
    raiseOn(staging().takeIn(target), "rename", target);
    staging().removeContents();
}

StagingDirectory& LockedInstaller::staging() {
    if (!stagingDirectory) {
        stagingDirectory.emplace(packages);
        raiseOn(stagingDirectory->error(), "create_directories", packages);
    }
    return *stagingDirectory;
}

} // namespace mos
