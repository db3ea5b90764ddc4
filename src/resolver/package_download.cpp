#include "resolver/package_download.h"

#include <utility>

#include "cli/console.h"
#include "store/package_cache.h"

namespace mos {
namespace {

[[noreturn]] void failWithRegistryError(std::string message, std::string help = "") {
    throw MosException(ErrorCode::RegistryError, std::move(message), std::move(help), 1);
}

} // namespace

std::string nameAndVersion(const ResolvedPackage& package) {
    return package.name + " v" + package.version.to_string();
}

void refuseOffline(const ResolvedPackage& package) {
    failWithRegistryError("Package '" + package.name + " " + package.version.to_string() +
                              "' is unavailable in offline mode.",
                          "Run 'mos install' with internet connection to cache dependencies.");
}

void downloadPackage(IRegistry& registry, const ResolvedPackage& package,
                     const std::function<bool(const DownloadFile&)>& keep) {
    printStatus("Downloading", nameAndVersion(package));
    DownloadFile file(PackageCache::homeDir() / "temp" / (package.name + ".mos"));
    std::string error;
    if (!registry.download(package.name, package.version, file, error)) {
        failWithRegistryError("Failed to download package '" + package.name + "': " + error);
    }
    if (!keep(file)) {
        failWithRegistryError("Failed to store package '" + package.name + "' in the cache.");
    }
    file.remove();
}

} // namespace mos
