// The described search (see version_search.cpp) reports the failure it met last. Without a solution
// it tries, at every place, all versions that satisfy the requirement, so the failure it met last
// at that place is the one it met last below the version tried last: the lowest that has metadata.
// Below that version the same holds. So following the lowest versions leads to the failure without
// trying anything else. It cannot lead to a solution, for there is none.
//
// When no version that satisfies the requirement has metadata, nothing is tried below that place,
// and the message is empty.
#include "resolver/last_attempt.h"

#include <algorithm>
#include <optional>
#include <vector>

namespace mos {
namespace {

constexpr std::size_t listedVersions = 5;

/// A package that the attempt has selected, and for whom.
struct Selected {
    const Version* version;
    const std::string* requiredBy; ///< name of the package that was selected just before
    std::string constraint;
};

class LastAttempt {
public:
    LastAttempt(PackageCatalog& packageCatalog, const std::string& projectName)
        : catalog(packageCatalog), rootName(projectName) {}

    void lock(const LockedPackage& locked) {
        selection(*locked.package) =
            Selected{&locked.version, &rootName, locked.constraint->to_string()};
    }

    void require(Demand& demand) { queue.push_back(&demand.requirement); }

    /// Goes on until the attempt fails; the message of the failure.
    std::string run() {
        std::size_t head = 0;
        while (head < queue.size()) {
            if (std::optional<std::string> failure = meet(*queue[head++])) {
                return *std::move(failure);
            }
        }
        return {};
    }

private:
    /// By the package's id. A reference is valid until the next package is mentioned.
    std::optional<Selected>& selection(const CatalogPackage& package) {
        if (selections.size() <= package.id) {
            selections.resize(std::max(catalog.packageCount(), package.id + 1));
        }
        return selections[package.id];
    }

    [[nodiscard]] const std::string& lastOnPath() const {
        return path.empty() ? rootName : *path.back();
    }

    std::optional<std::string> meet(Requirement& requirement);
    [[nodiscard]] std::string conflict(const Requirement& requirement,
                                       const Selected& selected) const;
    [[nodiscard]] std::string cycle(const CatalogPackage& package) const;
    static std::string noMatch(const Requirement& requirement);

    PackageCatalog& catalog;
    const std::string& rootName;
    std::vector<Requirement*> queue;
    std::vector<std::optional<Selected>> selections;
    std::vector<const std::string*> path;
};

std::optional<std::string> LastAttempt::meet(Requirement& requirement) {
    CatalogPackage& package = requirement.package;
    if (const std::optional<Selected>& selected = selection(package)) {
        return requirement.constraint.matches(*selected->version)
                   ? std::nullopt
                   : std::optional(conflict(requirement, *selected));
    }
    if (package.name == rootName) {
        return cycle(package);
    }
    const std::vector<Version>& versions = catalog.versionsOf(package);
    if (versions.empty()) {
        return "package '" + package.name + "' was not found in registry or local sources";
    }
    bool matched = false;
    for (std::size_t place = versions.size(); place-- > 0;) {
        if (!requirement.constraint.matches(versions[place])) {
            continue;
        }
        matched = true;
        if (const CatalogMetadata* metadata = catalog.metadataOf(package, place)) {
            selection(package) = Selected{&versions[place], &lastOnPath(), requirement.text};
            path.push_back(&package.name);
            for (const Demand* demand : metadata->demands) {
                queue.push_back(&demand->requirement);
            }
            return std::nullopt;
        }
    }
    // Deliberate: a failure without words when no version that matches has metadata.
    return matched ? std::string() : noMatch(requirement);
}

/// Deliberate: the package selected last is named as the requirer, whether or not it is.
std::string LastAttempt::conflict(const Requirement& requirement, const Selected& selected) const {
    const std::string& name = requirement.package.name;
    return "dependency conflict for '" + name + "':\n  " + *selected.requiredBy +
           " requires: " + name + " " + selected.constraint +
           " (selected: " + selected.version->to_string() + ")\n  " + lastOnPath() +
           " requires: " + name + " " + requirement.text + "\nNo compatible version was found.";
}

/// Deliberate: the whole selection path, not only the ancestors.
std::string LastAttempt::cycle(const CatalogPackage& package) const {
    std::string text = "Cyclic dependency detected: " + rootName + " -> ";
    for (const std::string* name : path) {
        text.append(*name).append(" -> ");
    }
    return text + package.name;
}

std::string LastAttempt::noMatch(const Requirement& requirement) {
    const std::vector<Version>& versions = *requirement.package.versions;
    std::string text = "no available version of '" + requirement.package.name +
                       "' matches constraint '" + requirement.text + "'.\nAvailable versions: ";
    const std::size_t listed = std::min(versions.size(), listedVersions);
    for (std::size_t i = 0; i < listed; ++i) {
        text.append(i == 0 ? "" : ", ").append(versions[i].to_string());
    }
    return versions.size() > listed ? text + ", ..." : text;
}

} // namespace

std::string lastFailure(PackageCatalog& catalog, const std::string& rootName,
                        const DependencyTable& dependencies, const LockedPackages& locked) {
    LastAttempt attempt(catalog, rootName);
    for (const auto& entry : locked) {
        attempt.lock(entry.value);
    }
    for (const auto& entry : dependencies) {
        attempt.require(catalog.demandOfProject(entry.key, entry.value.constraint));
    }
    return attempt.run();
}

} // namespace mos
