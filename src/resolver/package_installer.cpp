#include "resolver/package_installer.h"

#include <system_error>
#include <utility>

#include "cli/console.h"
#include "platform/file_system.h"
#include "resolver/package_download.h"
#include "store/package_cache.h"

namespace mos {
namespace {

namespace fs = std::filesystem;

/// Whether a package that cannot be unpacked beside its place, or not be moved there, may still be
/// unpacked in its place. Where it is the disk that lacks something it may not: nobody must meet
/// the half of a package that is there meanwhile.
bool mayHelpInPlace(const std::error_code& reason) {
    return liesInArchive(reason) || reason == std::errc::operation_not_permitted ||
           reason == std::errc::cross_device_link;
}

/// False, for the caller to return, when the package may still be unpacked in its place.
bool raiseUnlessPlaceHelps(const std::error_code& reason, const char* operation,
                           const fs::path& target) {
    if (!mayHelpInPlace(reason)) {
        throw fs::filesystem_error(operation, target, reason);
    }
    return false;
}

/// Whether the package is at `staged` now. False when it may be unpacked at `target`.
bool extractStaged(const ResolvedPackage& package, const fs::path& staged, const fs::path& target) {
    try {
        return PackageCache::unpack(package.name, package.version, staged, target);
    } catch (const UnpackFailure& failure) {
        if (liesInArchive(failure.reason)) {
            return false;
        }
        throw;
    } catch (const fs::filesystem_error& failure) {
        if (liesInArchive(failure.code())) {
            return false;
        }
        throw;
    }
}

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
    // An archive that is at fault is unpacked in place, so that what it leaves is what its own
    // directory takes.
    return PackageCache::unpack(package.name, package.version, target, target);
}

/// Whether the package is in its place now, or unpacks to nothing. False when it may be unpacked
/// there; raises what nothing helps against.
bool PackageInstaller::unpackStaged(const ResolvedPackage& package, const fs::path& target) {
    if (!staging) {
        staging.emplace(packages);
    }
    if (staging->path().empty()) {
        return raiseUnlessPlaceHelps(staging->error(), "create_directories", target);
    }
    const fs::path staged = staging->path() / package.name;
    if (!extractStaged(package, staged, target)) {
        return false;
    }
    if (!pathExists(staged)) {
        return true;
    }
    const std::error_code error = staging->moveOut(package.name, target);
    // A package that another mos has put there meanwhile is as good as this one.
    return !error || pathExists(target) || raiseUnlessPlaceHelps(error, "rename", target);
}

} // namespace mos
