#include "store/package_cache.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <system_error>

#include "archive/extraction.h"
#include "archive/packaging.h"
#include "cli/mos_exception.h"
#include "platform/file_replacement.h"
#include "platform/file_system.h"
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

[[noreturn]] void raise(const char* operation, const fs::path& path, std::error_code code) {
    throw fs::filesystem_error(operation, path, code);
}

/// The directories directly below `parent`, in the order of the file system. None when `parent` is
/// gone: another mos may be emptying the cache.
std::vector<fs::path> subdirectories(const fs::path& parent) {
    std::vector<fs::path> found;
    std::error_code code;
    fs::directory_iterator entries(parent, code);
    if (code == std::errc::no_such_file_or_directory) {
        return found;
    }
    if (code) {
        raise("directory_iterator::directory_iterator", parent, code);
    }
    while (entries != fs::directory_iterator()) {
        const bool isDirectory = entries->is_directory(code);
        if (code && code != std::errc::no_such_file_or_directory) {
            raise("directory_entry::status", entries->path(), code);
        }
        if (isDirectory) {
            found.push_back(entries->path());
        }
        entries.increment(code);
        if (code) {
            raise("directory_iterator::operator++", parent, code);
        }
    }
    return found;
}

} // namespace

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
                          const fs::path& destinationDir) {
    const fs::path archive = archivePath(name, version);
    if (!pathExists(archive)) {
        return false;
    }
    std::string error;
    if (!extractArchive(archive, destinationDir, &error)) {
        throw MosException(ErrorCode::InvalidArchive,
                           "Failed to unpack package '" + name + "': " + error, "", 1);
    }
    return true;
}

std::vector<CachedPackage> PackageCache::list() {
    std::vector<CachedPackage> cached;
    const fs::path cache = cacheDir();
    if (!pathExists(cache)) {
        return cached;
    }
    for (const fs::path& package : subdirectories(cache)) {
        for (const fs::path& directory : subdirectories(package)) {
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
