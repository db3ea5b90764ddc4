#pragma once

#include <cstddef>
#include <deque>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "resolver/package_source.h"
#include "resolver/version_set.h"
#include "semver/version.h"
#include "semver/version_constraint.h"

namespace mos {

struct CatalogPackage;

/// A package in the versions that one constraint allows.
struct Requirement {
    CatalogPackage& package;
    VersionConstraint constraint;
    std::string text;                   ///< the constraint's
    std::optional<VersionSet> excluded; ///< see PackageCatalog::excludedBy
    bool comparable = true;             ///< false once a comparison with a version has thrown
};

/// A requirement and who has it: the project itself, or a package in some of its versions.
struct Demand {
    const CatalogPackage* requirer; ///< null: the project
    Requirement& requirement;
    VersionSet requirerVersions; ///< those known to have it; grows as metadata is read
};

/// What the source said of one version.
struct CatalogMetadata {
    std::string source;
    std::string checksum;
    std::vector<Demand*> demands; ///< in the order of the reply, one for a name
};

/// All that is known of one name.
struct CatalogPackage {
    std::string name;
    std::size_t id;                               ///< 0, 1, ... in the order of first mention
    std::optional<std::vector<Version>> versions; ///< descending; absent until asked for
    /// By place in `versions`: absent until asked for, null when the source has none.
    std::vector<std::optional<const CatalogMetadata*>> metadata;
    /// By place the first place with the same text; empty when no two versions are equal.
    std::vector<std::size_t> firstPlaces;
    std::vector<std::size_t> releases; ///< the places of versions without pre-release identifiers
    std::vector<std::size_t> preReleases; ///< and of those with

    /// Whether a version in front of `place` has the same text.
    [[nodiscard]] bool isRepeated(std::size_t place) const {
        return !firstPlaces.empty() && firstPlaces[place] != place;
    }
};

/// What has been learned from a source, which is asked at most once for a name's versions and once
/// for a version's metadata. Every reference stays valid as long as the catalog.
class PackageCatalog {
public:
    explicit PackageCatalog(IPackageSource& packageSource) : source(packageSource) {}

    [[nodiscard]] CatalogPackage& package(const std::string& name);
    [[nodiscard]] std::size_t packageCount() const { return packages.size(); }

    /// The published versions in descending order, equal ones in the order of the reply. Throws
    /// std::out_of_range like the comparison of versions.
    const std::vector<Version>& versionsOf(CatalogPackage& package);

    /// The metadata of the version at `place`; null when the source has none.
    const CatalogMetadata* metadataOf(CatalogPackage& package, std::size_t place);

    /// The metadata of a version that need not be published; null when the source has none.
    const CatalogMetadata* metadataOfLocked(CatalogPackage& package, const Version& version);

    /// The demand of the project itself.
    [[nodiscard]] Demand& demandOfProject(const std::string& name,
                                          const VersionConstraint& constraint) {
        return demand(nullptr, name, constraint);
    }

    /// Whether the version is known not to match: one that cannot be compared is not, and the
    /// requirement is marked.
    static bool excludes(Requirement& requirement, const Version& version);

    /// The published versions, which must have been asked for, that are known not to match.
    static const VersionSet& excludedBy(Requirement& requirement);

private:
    using RequirementKey = std::pair<const CatalogPackage*, std::string_view>;
    using DemandKey = std::pair<const CatalogPackage*, const Requirement*>;
    struct KeyHash {
        std::size_t operator()(const RequirementKey& key) const noexcept;
        std::size_t operator()(const DemandKey& key) const noexcept;
    };

    const CatalogMetadata* ask(CatalogPackage& package, const Version& version);
    Demand& demand(const CatalogPackage* requirer, const std::string& name,
                   const VersionConstraint& constraint);
    Requirement& requirementOf(const std::string& name, const VersionConstraint& constraint);

    IPackageSource& source;
    std::deque<CatalogPackage> packages;
    std::unordered_map<std::string_view, CatalogPackage*> packagesByName;
    std::deque<Requirement> requirements;
    std::unordered_map<RequirementKey, Requirement*, KeyHash> requirementsByText;
    std::deque<Demand> demands;
    std::unordered_map<DemandKey, Demand*, KeyHash> demandsByRequirer;
    std::deque<CatalogMetadata> described;
    std::map<std::pair<const CatalogPackage*, std::string>, const CatalogMetadata*> lockedMetadata;
};

} // namespace mos
