#include "store/package_cache.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <utility>

#include "archive/packaging.h"
#include "platform/file_replacement.h"
#include "platform/file_system.h"
#include "platform/staging_directory.h"
#include "store/checksum.h"
#include "store/tool_home.h"

namespace mos {
namespace {

namespace fs = std::filesystem;

bool copyTo(FileReplacement& copy, const DownloadFile& file) {
    std::array<std::byte, 65536> buffer; // NOLINT(cppcoreguidelines-pro-type-member-init)
    std::uint64_t offset = 0;
    while (const std::size_t count = file.readAt(offset, buffer)) {
        if (!copy.write(std::span(buffer).first(count))) {
            return false;
        }
        offset += count;
    }
    // A disk that fails ends the reading like the end of the file.
    return offset == file.size();
}

/// Takes away what a disk did not take whole: the next install would hold it for the package.
void removeHalf(const fs::path& directory, bool liesInArchive) {
    if (!liesInArchive) {
        StagingDirectory::discard(directory);
    }
}

} // namespace

UnpackFailure::UnpackFailure(const std::string& name, ExtractionFailure failure)
    : MosException(ErrorCode::InvalidArchive,
                   "Failed to unpack package '" + name + "': " + failure.message, "", 1),
      cause(std::move(failure)) {}

bool liesInArchive(const fs::filesystem_error& failure) noexcept {
    return refusesName(failure.code());
}

fs::path PackageCache::homeDir() {
    return toolHome();
}

fs::path PackageCache::cacheDir() {
    return homeDir() / "cache" / "packages";
}

fs::path PackageCache::packageDir(const std::string& name, const Version& version) {
    return cacheDir() / name / version.to_string();
}

fs::path PackageCache::archivePath(const std::string& name, const Version& version) {
    return packageDir(name, version) / archiveFileName(name, version);
}

bool PackageCache::isCached(const std::string& name, const Version& version) {
    return pathExists(archivePath(name, version));
}

bool PackageCache::store(const std::string& name, const Version& version,
                         const DownloadFile& downloadedFile, const std::string& expectedChecksum) {
    verifyChecksum(name, version, downloadedFile, expectedChecksum);
    // Another mos may empty the cache at any moment, the directory for the archive with it.
    constexpr int mostAttempts = 1000;
    for (int attempt = 0; attempt < mostAttempts; ++attempt) {
        createDirectories(packageDir(name, version));
        FileReplacement copy(archivePath(name, version));
        if (copy.isOpen() && copyTo(copy, downloadedFile) && copy.commit()) {
            return true;
        }
        if (copy.error() != std::errc::no_such_file_or_directory) {
            break;
        }
    }
    return false;
}

bool PackageCache::unpack(const std::string& name, const Version& version,
                          const fs::path& destinationDir, const fs::path& shownDestination) {
    const fs::path archive = archivePath(name, version);
    if (!pathExists(archive)) {
        return false;
    }
    ArchiveScanner scanner(archive);
    // Another mos may have emptied the cache since.
    if (!scanner.isOpen() && !pathExists(archive)) {
        return false;
    }
    unpackOpen(name, version, scanner, destinationDir, shownDestination);
    return true;
}

void PackageCache::unpackOpen(const std::string& name, const Version& version,
                              ArchiveScanner& archive, const fs::path& destinationDir,
                              const fs::path& shownDestination) {
    try {
        auto failure =
            extractMembers(archive, destinationDir, {archivePath(name, version), shownDestination});
        if (failure) {
            removeHalf(destinationDir, failure->liesInArchive);
            throw UnpackFailure(name, *std::move(failure));
        }
    } catch (const fs::filesystem_error& raised) {
        removeHalf(destinationDir, liesInArchive(raised));
        throw;
    }
}

std::vector<CachedPackage> PackageCache::list() {
    std::vector<CachedPackage> cached;
    const fs::path cache = cacheDir();
    if (!pathExists(cache)) {
        return cached;
    }
    for (const fs::path& package : directoriesIn(cache)) {
        for (const fs::path& directory : directoriesIn(package)) {
            if (auto version = Version::parse(directory.filename().string())) {
                cached.push_back({package.filename().string(), *std::move(version)});
            }
        }
    }
    return cached;
}

void PackageCache::clean() {
    removeAll(cacheDir());
}

} // namespace mos
