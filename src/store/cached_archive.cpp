#include "store/cached_archive.h"

#include <utility>

#include "archive/unpacked_comparison.h"
#include "platform/input_file.h"
#include "store/checksum.h"
#include "store/package_cache.h"

namespace mos {

CachedArchive::CachedArchive(std::string packageName, Version packageVersion, InputFile file)
    : name(std::move(packageName)), version(std::move(packageVersion)), scanner(std::move(file)) {}

std::optional<CachedArchive> CachedArchive::find(const std::string& name, const Version& version,
                                                 const std::string& checksum) {
    if (!PackageCache::isCached(name, version)) {
        return std::nullopt;
    }
    InputFile file(PackageCache::archivePath(name, version));
    if (!file.isOpen() || !hasChecksum(file, checksum)) {
        return std::nullopt;
    }
    return CachedArchive(name, version, std::move(file));
}

std::optional<CachedArchive> CachedArchive::require(const std::string& name, const Version& version,
                                                    const std::string& checksum) {
    if (!PackageCache::isCached(name, version)) {
        return std::nullopt;
    }
    InputFile file(PackageCache::archivePath(name, version));
    verifyChecksum(name, version, file, checksum);
    return CachedArchive(name, version, std::move(file));
}

bool CachedArchive::isUnpackedAt(const std::filesystem::path& directory) {
    return scanner.rewind() && mos::isUnpackedAt(scanner, directory);
}

void CachedArchive::unpack(const std::filesystem::path& destinationDir,
                           const std::filesystem::path& shownDestination) {
    // An archive that cannot be read again is reported by the extraction.
    static_cast<void>(scanner.rewind());
    PackageCache::unpackOpen(name, version, scanner, destinationDir, shownDestination);
}

} // namespace mos
