#include "resolver/package_catalog.h"

#include <algorithm>
#include <functional>
#include <span>
#include <stdexcept>

namespace mos {
namespace {

std::size_t mixed(std::size_t a, std::size_t b) {
    return a ^ (b + 0x9e3779b97f4a7c15U + (a << 6U) + (a >> 2U));
}

/// By place the first place with the same text; nothing when no two versions are equal.
std::vector<std::size_t> firstPlacesIn(const std::vector<Version>& versions) {
    std::vector<std::size_t> places;
    if (std::ranges::adjacent_find(versions) == versions.end()) {
        return places;
    }
    std::unordered_map<std::string, std::size_t> placeOfText;
    for (std::size_t place = 0; place < versions.size(); ++place) {
        places.push_back(placeOfText.try_emplace(versions[place].to_string(), place).first->second);
    }
    return places;
}

/// The places of the releases that a constraint allows. What a comparator allows of them follows
/// each other in their order, so that its ends are found without asking about each.
std::span<const std::size_t> allowedReleases(const CatalogPackage& package,
                                             const VersionConstraint& constraint) {
    std::span<const std::size_t> places = package.releases;
    for (const Comparator& comparator : constraint.comparators) {
        const auto position = [&](std::size_t place) {
            return comparator.position((*package.versions)[place]);
        };
        const auto isAbove = [&](std::size_t place) { return position(place) > 0; };
        const auto isNotBelow = [&](std::size_t place) { return position(place) >= 0; };
        const auto begin = std::ranges::partition_point(places, isAbove);
        places = {begin, std::ranges::partition_point(begin, places.end(), isNotBelow)};
    }
    return places;
}

} // namespace

std::size_t PackageCatalog::KeyHash::operator()(const RequirementKey& key) const noexcept {
    return mixed(std::hash<const void*>{}(key.first), std::hash<std::string_view>{}(key.second));
}

std::size_t PackageCatalog::KeyHash::operator()(const DemandKey& key) const noexcept {
    return mixed(std::hash<const void*>{}(key.first), std::hash<const void*>{}(key.second));
}

CatalogPackage& PackageCatalog::package(const std::string& name) {
    if (const auto found = packagesByName.find(name); found != packagesByName.end()) {
        return *found->second;
    }
    CatalogPackage& added =
        packages.emplace_back(CatalogPackage{name, packages.size(), {}, {}, {}, {}, {}});
    packagesByName.emplace(added.name, &added);
    return added;
}

const std::vector<Version>& PackageCatalog::versionsOf(CatalogPackage& package) {
    if (!package.versions) {
        std::vector<Version> versions = source.availableVersions(package.name);
        std::ranges::stable_sort(versions, std::ranges::greater{});
        package.metadata.resize(versions.size());
        package.firstPlaces = firstPlacesIn(versions);
        for (std::size_t place = 0; place < versions.size(); ++place) {
            (versions[place].prerelease.empty() ? package.releases : package.preReleases)
                .push_back(place);
        }
        package.versions = std::move(versions);
    }
    return *package.versions;
}

const CatalogMetadata* PackageCatalog::metadataOf(CatalogPackage& package, std::size_t place) {
    std::optional<const CatalogMetadata*>& known = package.metadata[place];
    if (known) {
        return *known;
    }
    if (package.isRepeated(place)) {
        known = metadataOf(package, package.firstPlaces[place]);
    } else {
        const Version& version = (*package.versions)[place];
        const auto locked = lockedMetadata.empty()
                                ? lockedMetadata.end()
                                : lockedMetadata.find({&package, version.to_string()});
        known = locked == lockedMetadata.end() ? ask(package, version) : locked->second;
    }
    if (*known != nullptr) {
        for (Demand* demand : (*known)->demands) {
            demand->requirerVersions.insert(place);
        }
    }
    return *known;
}

const CatalogMetadata* PackageCatalog::metadataOfLocked(CatalogPackage& package,
                                                        const Version& version) {
    const auto [place, isNew] = lockedMetadata.try_emplace({&package, version.to_string()});
    if (isNew) {
        place->second = ask(package, version);
    }
    return place->second;
}

const CatalogMetadata* PackageCatalog::ask(CatalogPackage& package, const Version& version) {
    VersionMetadata reply = source.versionMetadata(package.name, version);
    if (!reply.found) {
        return nullptr;
    }
    CatalogMetadata& metadata = described.emplace_back();
    metadata.source = std::move(reply.source);
    metadata.checksum = std::move(reply.checksum);
    metadata.demands.reserve(reply.dependencies.size());
    for (const auto& entry : reply.dependencies) {
        metadata.demands.push_back(&demand(&package, entry.key, entry.value.constraint));
    }
    return &metadata;
}

Demand& PackageCatalog::demand(const CatalogPackage* requirer, const std::string& name,
                               const VersionConstraint& constraint) {
    Requirement& requirement = requirementOf(name, constraint);
    Demand*& known = demandsByRequirer[{requirer, &requirement}];
    if (known == nullptr) {
        known = &demands.emplace_back(Demand{requirer, requirement, {}});
    }
    return *known;
}

Requirement& PackageCatalog::requirementOf(const std::string& name,
                                           const VersionConstraint& constraint) {
    CatalogPackage& required = package(name);
    std::string text = constraint.to_string();
    if (const auto found = requirementsByText.find({&required, text});
        found != requirementsByText.end()) {
        return *found->second;
    }
    Requirement& added =
        requirements.emplace_back(Requirement{required, constraint, std::move(text), {}});
    requirementsByText.emplace(RequirementKey{&required, added.text}, &added);
    return added;
}

bool PackageCatalog::excludes(Requirement& requirement, const Version& version) {
    try {
        return !requirement.constraint.matches(version);
    } catch (const std::out_of_range&) {
        requirement.comparable = false;
        return false;
    }
}

const VersionSet& PackageCatalog::excludedBy(Requirement& requirement) {
    if (!requirement.excluded) {
        const CatalogPackage& package = requirement.package;
        VersionSet excluded = VersionSet::below(package.versions->size());
        if (const auto allowed = allowedReleases(package, requirement.constraint);
            !allowed.empty()) {
            excluded.eraseRange(allowed.front(), allowed.back() + 1);
        }
        for (const std::size_t place : package.preReleases) {
            if (excludes(requirement, (*package.versions)[place])) {
                excluded.insert(place);
            } else {
                excluded.erase(place);
            }
        }
        requirement.excluded = std::move(excluded);
    }
    return *requirement.excluded;
}

} // namespace mos
