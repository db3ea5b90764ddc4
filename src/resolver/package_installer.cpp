#include "resolver/package_installer.h"

#include <algorithm>
#include <array>
#include <utility>

#include "cli/console.h"
#include "platform/file_system.h"
#include "resolver/package_download.h"
#include "store/package_cache.h"

namespace mos {
namespace {

namespace fs = std::filesystem;

/// Whether a package that cannot be staged, or not be moved to its place, may be unpacked in its
/// place all the same: the system lets nothing be made or moved like that, but lacks nothing.
bool mayHelpInPlace(const std::error_code& reason) {
    using std::errc;
    constexpr std::array refusals{
        errc::cross_device_link,
        errc::device_or_resource_busy,
        errc::file_exists,
        errc::filename_too_long,
        errc::function_not_supported,
        errc::illegal_byte_sequence,
        errc::invalid_argument,
        errc::no_such_file_or_directory,
        errc::operation_not_permitted,
        errc::operation_not_supported,
        errc::permission_denied,
    };
    return std::ranges::any_of(refusals, [&reason](errc known) { return reason == known; });
}

/// Whether a path may be too long, or not be found, for the staging directory in it alone.
bool mayFitInPlace(const std::error_code& reason) {
    return reason == std::errc::filename_too_long || reason == std::errc::no_such_file_or_directory;
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
    const Staged result = unpackStaged(package, target);
    if (result != Staged::Impossible) {
        return result == Staged::Done;
    }
    // With what it holds of the package.
    staging.reset();
    return PackageCache::unpack(package.name, package.version, target, target);
}

PackageInstaller::Staged PackageInstaller::unpackStaged(const ResolvedPackage& package,
                                                        const fs::path& target) {
    if (!staging) {
        staging.emplace(packages);
    }
    if (staging->path().empty()) {
        return impossible(staging->error(), "create_directories", target);
    }
    if (const Staged result = extractStaged(package, target); result != Staged::Done) {
        return result;
    }
    const std::error_code error = moveOut(package, target);
    return error ? impossible(error, "rename", target) : Staged::Done;
}

/// Why what is staged could not be moved to its place. No error when another mos has put the
/// package there meanwhile: it is as good.
std::error_code PackageInstaller::moveOut(const ResolvedPackage& package, const fs::path& target) {
    std::error_code error;
    if (!staging->holds(package.name, error)) {
        // An archive without members makes no directory.
        return error;
    }
    error = staging->moveOut(package.name, target);
    return error && pathExists(target) ? std::error_code() : error;
}

PackageInstaller::Staged PackageInstaller::extractStaged(const ResolvedPackage& package,
                                                         const fs::path& target) {
    const fs::path staged = staging->path() / package.name;
    try {
        const bool isCached = PackageCache::unpack(package.name, package.version, staged, target);
        return isCached ? Staged::Done : Staged::NotCached;
    } catch (const UnpackFailure& failure) {
        if (!failure.cause.liesInArchive || moveRest(package, target, failure.cause.reason)) {
            throw;
        }
    } catch (const fs::filesystem_error& failure) {
        if (!liesInArchive(failure) || moveRest(package, target, failure.code())) {
            throw;
        }
    }
    return Staged::Impossible;
}

/// Moves what a faulty archive holds before its fault, whose `reason` is given, to the package's
/// place, where it is expected. False where the archive has to be tried in that place instead.
bool PackageInstaller::moveRest(const ResolvedPackage& package, const fs::path& target,
                                const std::error_code& reason) {
    return !mayFitInPlace(reason) && !mayHelpInPlace(moveOut(package, target));
}

/// For the caller to return; raises `reason` where the package's place does not help.
PackageInstaller::Staged PackageInstaller::impossible(const std::error_code& reason,
                                                      const char* operation,
                                                      const fs::path& target) {
    if (!mayHelpInPlace(reason)) {
        throw fs::filesystem_error(operation, target, reason);
    }
    return Staged::Impossible;
}

} // namespace mos
