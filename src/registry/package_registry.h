#pragma once

#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/download_file.h"
#include "resolver/package_source.h"
#include "semver/version.h"

namespace mos {

/// A package as the registry describes it; texts as they stand in the reply.
struct PackageInfo {
    std::string name;
    std::string latest;
    std::string description;
    std::string license;
    std::vector<std::string> versions;
};

struct SearchResult {
    std::string name;
    std::string description;
    Version latest; ///< 0.0.0 when the reply's text is not a version
};

/// A package registry. Look-ups do not fail: what cannot be had is empty or absent.
class IRegistry : public IPackageSource {
public:
    /// Every published version of `name`, in the order of the reply.
    [[nodiscard]] virtual std::vector<Version> versions(const std::string& name) = 0;

    /// The address of the registry, without a trailing "/".
    [[nodiscard]] virtual std::string registryBaseUrl() const = 0;

    [[nodiscard]] virtual std::vector<SearchResult> search(const std::string& query) = 0;
    [[nodiscard]] virtual std::optional<PackageInfo> info(const std::string& name) = 0;

    /// The address of the archive of one version.
    [[nodiscard]] virtual std::string downloadUrl(const std::string& name,
                                                  const Version& version) const = 0;

    /// Uploads an archive. False with the reason in `error`.
    [[nodiscard]] virtual bool publish(const std::filesystem::path& archivePath,
                                       const std::string& token, std::string& error) = 0;

    /// Streams the archive of one version into `destination`, which is opened (and stays locked)
    /// once the registry has answered with status 200. False with the reason in `error`.
    [[nodiscard]] virtual bool download(const std::string& name, const Version& version,
                                        DownloadFile& destination, std::string& error) = 0;

    [[nodiscard]] std::vector<Version> availableVersions(const std::string& name) override {
        return versions(name);
    }
};

/// Whether MOS_OFFLINE forbids every request.
[[nodiscard]] bool isOfflineForced();

/// The registry that MOS_REGISTRY names, else the built-in default.
[[nodiscard]] std::shared_ptr<IRegistry> makeRegistry();

} // namespace mos
