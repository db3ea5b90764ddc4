#include "resolver/version_search.h"

#include <algorithm>
#include <utility>

#include "resolver/conflict_analysis.h"

namespace mos {
namespace {

/// Puts the literal that was selected last first, and the one before it second.
void latestFirst(const PartialAssignment& assignment, Nogood& literals) {
    const auto isLater = [&assignment](const Literal& a, const Literal& b) {
        return assignment.levelOf(*a.package) > assignment.levelOf(*b.package);
    };
    const auto sorted = std::min<std::ptrdiff_t>(2, std::ssize(literals));
    std::ranges::partial_sort(literals, literals.begin() + sorted, isLater);
}

} // namespace

VersionSearch::VersionSearch(PackageCatalog& packageCatalog, const std::string& rootName,
                             const DependencyTable& dependencies, const LockedPackages& locked,
                             std::size_t nogoodCapacity)
    : catalog(packageCatalog),
      assignment(packageCatalog.package(rootName)),
      nogoods(nogoodCapacity) {
    for (const auto& entry : locked) {
        assignment.selectLocked(*entry.value.package, entry.value.version);
    }
    for (const auto& entry : dependencies) {
        queue.push_back(&catalog.demandOfProject(entry.key, entry.value.constraint));
    }
}

bool VersionSearch::run() {
    for (const Demand* demand : queue) {
        if (!assignment.require(*demand)) {
            return false;
        }
    }
    while (head < queue.size()) {
        const Requirement& requirement = queue[head]->requirement;
        if (assignment.isOpen(requirement.package)) {
            if (!choose(*queue[head])) {
                return false;
            }
            continue;
        }
        // A version that does not match would have been noticed before; one that cannot be compared
        // throws only here, where the order of the search comes to it.
        static_cast<void>(
            requirement.constraint.matches(assignment.versionOf(requirement.package)));
        ++head;
    }
    return true;
}

/// Selects a version for the demand, or goes back as far as its absence requires; false when there
/// is nothing left to try.
bool VersionSearch::choose(const Demand& demand) {
    Requirement& requirement = demand.requirement;
    CatalogPackage& package = requirement.package;
    static_cast<void>(catalog.versionsOf(package));
    assignment.openVersions(package);
    static_cast<void>(PackageCatalog::excludedBy(requirement));
    if (!requirement.comparable) {
        for (const Version& version : *package.versions) {
            static_cast<void>(requirement.constraint.matches(version));
        }
    }
    if (assignment.isExhausted(package)) {
        return settle(explainExhaustion(assignment, package));
    }
    const std::size_t version = assignment.highestLeft(package);
    if (const CatalogMetadata* metadata = catalog.metadataOf(package, version)) {
        return select(package, version, *metadata);
    }
    VersionSet undescribed;
    undescribed.insert(version);
    assignment.ruleOutForGood(package, undescribed);
    return true;
}

bool VersionSearch::select(CatalogPackage& package, std::size_t version,
                           const CatalogMetadata& metadata) {
    ++spent.selections;
    places.push_back({head, queue.size()});
    queue.insert(queue.end(), metadata.demands.begin(), metadata.demands.end());
    ++head;
    if (const Demand* unmet = assignment.select(package, version, metadata)) {
        return settle(explainUnmetDemand(assignment, *unmet));
    }
    Nogood conflict;
    return propagate(package, conflict) || settle(std::move(conflict));
}

/// Rules out what nogoods rule out after a selection; false when that leaves a package nothing.
bool VersionSearch::propagate(const CatalogPackage& package, Nogood& conflict) {
    pressing.clear();
    nogoods.noteSelection(assignment, package, pressing);
    for (StoredNogood* nogood : pressing) {
        const CatalogPackage& other = *nogood->literals.front().package;
        if (!assignment.isOpen(other)) {
            conflict = nogood->literals;
            for (Literal& literal : conflict) {
                literal.versions = literal.versionsNow();
            }
            return false;
        }
        ++spent.nogoodsAgain;
        assignment.ruleOut(*nogood, assignment.depth());
        if (assignment.isExhausted(other)) {
            conflict = explainExhaustion(assignment, other);
            return false;
        }
    }
    return true;
}

/// Goes back to the latest selection that had a part in the conflict and remembers the conflict, as
/// often as that leaves nothing to select; false when the conflict is nobody's choice.
bool VersionSearch::settle(Nogood conflict) {
    while (!conflict.empty()) {
        ++spent.conflicts;
        latestFirst(assignment, conflict);
        const CatalogPackage& culprit = *conflict.front().package;
        const std::size_t level = assignment.levelOf(culprit);
        spent.levelsPassedOver += assignment.depth() - level;
        while (assignment.depth() >= level) {
            assignment.undo();
        }
        head = places[level - 1].head;
        queue.resize(places[level - 1].queueSize);
        places.resize(level - 1);
        learn(std::move(conflict));
        if (!assignment.isExhausted(culprit)) {
            return true;
        }
        conflict = explainExhaustion(assignment, culprit);
    }
    return false;
}

void VersionSearch::learn(Nogood conflict) {
    if (conflict.size() == 1) {
        assignment.ruleOutForGood(*conflict.front().package, conflict.front().versions);
        return;
    }
    const auto& others = assignment.nogoodsOf(*conflict.front().package);
    if (!others.empty() && absorb(conflict, others.back().nogood->literals)) {
        assignment.widen(*others.back().nogood, std::move(conflict));
        return;
    }
    const std::size_t level = assignment.levelOf(*conflict[1].package);
    assignment.ruleOut(nogoods.add(std::move(conflict)), level);
}

} // namespace mos
