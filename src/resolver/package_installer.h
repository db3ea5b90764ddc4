#pragma once

#include <filesystem>
#include <optional>
#include <system_error>

#include "platform/download_file.h"
#include "platform/staging_directory.h"
#include "registry/package_registry.h"
#include "resolver/resolution.h"

namespace mos {

/// Brings single packages into a project's `packages` directory. Borrows the registry.
class PackageInstaller {
public:
    PackageInstaller(IRegistry& packageRegistry, std::filesystem::path packagesDirectory,
                     bool isOffline);

    /// Unpacks `package` from the cache, which is filled from the registry first when it does not
    /// hold the version. What is there already under the package's name is left alone.
    ///
    /// The package appears whole or not at all, unless the archive is at fault: then what it holds
    /// before its fault appears. Where the system lets nothing be made or moved beside the
    /// package's place, it is unpacked there. Throws MosException and file-system errors.
    void install(const ResolvedPackage& package);

private:
    [[nodiscard]] bool storeAndUnpack(const ResolvedPackage& package, const DownloadFile& file,
                                      const std::filesystem::path& target);
    [[nodiscard]] bool unpack(const ResolvedPackage& package, const std::filesystem::path& target);
    /// How an attempt to unpack beside the package's place ended.
    enum class Staged {
        Done,      ///< the package is in its place, or unpacks to nothing
        NotCached, ///< the cache does not hold it
        Impossible ///< it may be unpacked in its place
    };
    [[nodiscard]] Staged unpackStaged(const ResolvedPackage& package,
                                      const std::filesystem::path& target);
    [[nodiscard]] std::error_code moveOut(const ResolvedPackage& package,
                                          const std::filesystem::path& target);
    [[nodiscard]] Staged extractStaged(const ResolvedPackage& package,
                                       const std::filesystem::path& target);
    [[nodiscard]] bool moveRest(const ResolvedPackage& package, const std::filesystem::path& target,
                                const std::error_code& reason);
    [[nodiscard]] static Staged impossible(const std::error_code& reason, const char* operation,
                                           const std::filesystem::path& target);

    IRegistry& registry;
    std::filesystem::path packages;
    bool offline;
    std::optional<StagingDirectory> staging; ///< made for the first package that is unpacked
};

} // namespace mos
