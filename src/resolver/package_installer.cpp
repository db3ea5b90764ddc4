#include "resolver/package_installer.h"

#include <utility>

#include "cli/console.h"
#include "platform/file_system.h"
#include "resolver/package_download.h"
#include "store/package_cache.h"

namespace mos {
namespace {

namespace fs = std::filesystem;

} // namespace

PackageInstaller::PackageInstaller(IRegistry& packageRegistry, fs::path packagesDirectory,
                                   bool isOffline)
    : registry(packageRegistry), packages(std::move(packagesDirectory)), offline(isOffline) {}

void PackageInstaller::install(const ResolvedPackage& package) {
    const fs::path target = packages / package.name;
    if (pathExists(target)) {
        return;
    }
    if (PackageCache::isCached(package.name, package.version)) {
        printStatus("Unpacking", nameAndVersion(package) + " (cached)");
        if (unpack(package, target)) {
            return;
        }
        // Another mos has emptied the cache since: as if it had not been cached.
    }
    if (offline) {
        refuseOffline(package);
    }
    downloadPackage(registry, package, [this, &package, &target](const DownloadFile& file) {
        return storeAndUnpack(package, file, target);
    });
}

/// False when the cache does not take the download.
bool PackageInstaller::storeAndUnpack(const ResolvedPackage& package, const DownloadFile& file,
                                      const fs::path& target) {
    // Another mos may empty the cache at any moment: begin again with what was downloaded.
    constexpr int mostAttempts = 1000;
    for (int attempt = 0; attempt < mostAttempts; ++attempt) {
        if (!PackageCache::store(package.name, package.version, file, package.checksum)) {
            return false;
        }
        if (unpack(package, target)) {
            return true;
        }
    }
    return false;
}

/// False when the cache does not hold the package.
bool PackageInstaller::unpack(const ResolvedPackage& package, const fs::path& target) {
    if (unpackStaged(package, target)) {
        return true;
    }
    // With what it holds of the package.
    staging.reset();
    // What cannot be staged is unpacked in place, so that the failure that is reported, and what
    // it leaves, are those of the package's own directory.
    return PackageCache::unpack(package.name, package.version, target);
}

/// Whether the package is in its place now, or unpacks to nothing.
bool PackageInstaller::unpackStaged(const ResolvedPackage& package, const fs::path& target) {
    if (!staging) {
        staging.emplace(packages);
    }
    if (staging->path().empty()) {
        return false;
    }
    const fs::path staged = staging->path() / package.name;
    try {
        if (!PackageCache::unpack(package.name, package.version, staged)) {
            return false;
        }
        // A package that another mos has put there meanwhile is as good as this one.
        return !pathExists(staged) || staging->moveOut(package.name, target) || pathExists(target);
    } catch (const MosException&) {
        return false;
    } catch (const fs::filesystem_error&) {
        return false;
    }
}

} // namespace mos
