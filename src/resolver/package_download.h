#pragma once

#include <functional>
#include <string>

#include "platform/download_file.h"
#include "registry/package_registry.h"
#include "resolver/resolution.h"

namespace mos {

/// How status lines name a package: "json v1.2.0".
[[nodiscard]] std::string nameAndVersion(const ResolvedPackage& package);

/// Ends an installation that may not download `package`: throws MosException (RegistryError).
[[noreturn]] void refuseOffline(const ResolvedPackage& package);

/// Downloads the archive of `package` into the temporary directory of the tool home, lets `keep`
/// put it where it belongs, and removes it. Prints what it does. Throws MosException
/// (RegistryError) when it cannot be downloaded or `keep` returns false; the download then stays.
void downloadPackage(IRegistry& registry, const ResolvedPackage& package,
                     const std::function<bool(const DownloadFile&)>& keep);

} // namespace mos
