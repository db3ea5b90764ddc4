#pragma once

#include <string>
#include <vector>

#include "manifest/dependency_spec.h"
#include "semver/version.h"

namespace mos {

/// What a source knows of one version of a package.
struct VersionMetadata {
    bool found = false;           ///< false: the version could not be described
    std::string source;           ///< "registry+" and the base URL
    std::string checksum;         ///< "sha256:" and lowercase hex; may be empty
    DependencyTable dependencies; ///< in the order of the reply
};

/// Where the resolver learns which packages exist.
class IPackageSource {
public:
    virtual ~IPackageSource() = default;

    /// Every published version of `name`, in any order; empty for an unknown package.
    [[nodiscard]] virtual std::vector<Version> availableVersions(const std::string& name) = 0;

    /// One version of `name`; `found` is false when the source cannot describe it.
    [[nodiscard]] virtual VersionMetadata versionMetadata(const std::string& name,
                                                          const Version& version) = 0;
};

} // namespace mos
