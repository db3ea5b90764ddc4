// What is described is a depth-first search over a first-in-first-out queue of requirements: take
// the requirement in front; when its package is selected, the selected version must satisfy it;
// otherwise try the published versions that satisfy it, highest first, each time with the version's
// own requirements at the back of the queue; after a failure undo the latest selection and try its
// next version. Its answer is the first solution in that order. This search gives the same answer
// and passes over most of the attempts.
//
// Solutions do not depend on the order. A solution is a set of selections in which every demand of
// the project and of every selected version is met, and nothing else is selected (locked packages
// are given, and demand nothing). The described search reaches each solution along exactly one
// path, and finds the one whose path comes first. So a part of the tree may be passed over when no
// solution lies in it, and only then: what is found first stays the same.
//
// A nogood is a set of literals "package P is selected in one of the versions S" that no solution
// fulfils all of. Nogoods come from three sources, and none of them mentions the order:
//
// - A demand that cannot be met by what is selected. When a version in S of P demands Q in R,
//   {P in S, Q not in R} is a nogood; {P in S} when Q is locked in another version, is the project
//   itself, or has no version in R.
// - A package that is exhausted: demanded, and each of its versions is ruled out, by a demand, by a
//   nogood whose other literals hold, or because it has no metadata. A solution would have to
//   select one of the versions, so whatever rules them out, without the literals on the package
//   itself, and with one who demands it, is a nogood again.
// - S may contain all versions with the same demand, since the derivation uses nothing else of
//   them. That includes versions whose metadata is read later.
//
// Jumping back: of the literals of a new nogood, the one selected last is undone, together with
// all that was selected after it. In the whole subtree of that selection the nogood's literals
// hold, so no solution lies in it, and the versions of later packages, of which the described
// search would try every combination, need not be looked at. The nogood then rules out the version
// that was tried, and all others in S, as long as its other literals hold. When that leaves a
// package nothing, the next nogood follows in the same way. The empty nogood says that there is no
// solution.
//
// Looking ahead: after each selection, demands and nogoods rule out versions of packages that are
// not selected yet. An exhausted package ends the attempt at once instead of when the queue comes
// to it. Versions that are ruled out are not tried; the highest of the others is, as described.
//
// What is asked of the source is a part of what the described search asks: versions are looked up
// when the queue comes to a package, metadata when a version is about to be selected, and each
// place of the tree that is visited here is visited there. Comparisons that throw (numbers beyond
// 64 bits in pre-releases) throw when the queue comes to them, not when looking ahead, and not in
// parts of the tree that are passed over.
//
// When there is no solution, the described search has tried everything, and reports its last
// failure. last_attempt.cpp finds that one directly.
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
