#include "resolver/nogood_store.h"

#include <algorithm>
#include <utility>

#include "resolver/partial_assignment.h"

namespace mos {
namespace {

// Comparing takes time with the square of the number of literals.
constexpr std::size_t mostToCompare = 16;

/// Memory that a nogood takes, in bytes, but for the watchers' few.
std::size_t footprintOf(const StoredNogood& nogood) {
    std::size_t bytes = sizeof nogood;
    for (const Literal& literal : nogood.literals) {
        bytes += sizeof literal + literal.versions.ownMemory();
    }
    return bytes;
}

/// Puts a literal that does not hold into second place; false when there is none behind it.
bool replaceSecond(const PartialAssignment& assignment, Nogood& literals) {
    for (std::size_t i = 2; i < literals.size(); ++i) {
        if (!assignment.holds(literals[i])) {
            std::swap(literals[1], literals[i]);
            return true;
        }
    }
    return false;
}

} // namespace

VersionSet Literal::versionsNow() const {
    VersionSet all = versions;
    if (demand != nullptr) {
        all.unite(demand->requirerVersions);
    }
    return all;
}

bool absorb(Nogood& nogood, const Nogood& other) {
    if (nogood.size() != other.size() || nogood.size() > mostToCompare ||
        nogood[0].package != other[0].package || nogood[1].package != other[1].package) {
        return false;
    }
    bool sameBehindFirst = true;
    for (std::size_t i = 1; i < other.size(); ++i) {
        const auto mine = std::ranges::find(nogood, other[i].package, &Literal::package);
        if (mine == nogood.end() || !mine->versions.includes(other[i].versions)) {
            return false;
        }
        sameBehindFirst = sameBehindFirst && other[i].versions.includes(mine->versions) &&
                          (mine->demand == nullptr || mine->demand == other[i].demand);
    }
    if (sameBehindFirst) {
        nogood[0].versions.unite(other[0].versions);
    }
    return nogood[0].versions.includes(other[0].versions);
}

StoredNogood& NogoodStore::add(Nogood literals) {
    if (footprint > limit) {
        forgetHalf();
    }
    nogoods.push_back(std::make_unique<StoredNogood>());
    StoredNogood& added = *nogoods.back();
    added.literals = std::move(literals);
    added.lastUseful = ++now;
    footprint += footprintOf(added);
    for (const Literal& literal : added.literals) {
        watchers.resize(std::max(watchers.size(), literal.package->id + 1));
    }
    watchers[added.literals[0].package->id].push_back(&added);
    watchers[added.literals[1].package->id].push_back(&added);
    return added;
}

void NogoodStore::noteSelection(const PartialAssignment& assignment, const CatalogPackage& package,
                                std::vector<StoredNogood*>& pressing) {
    if (watchers.size() <= package.id) {
        return;
    }
    // A nogood that is watched elsewhere from now on never comes back into this list, as a package
    // has one literal in a nogood.
    Watchers& mine = watchers[package.id];
    std::size_t kept = 0;
    for (StoredNogood* nogood : mine) {
        Nogood& literals = nogood->literals;
        const std::size_t own = literals[0].package == &package ? 0 : 1;
        if (!assignment.holds(literals[own])) {
            mine[kept++] = nogood;
            continue;
        }
        if (own == 0 && nogood->uses > 0) {
            // All others hold, and this one does since its version was found to have the demand.
            mine[kept++] = nogood;
            pressing.push_back(nogood);
            continue;
        }
        if (own == 0) {
            std::swap(literals[0], literals[1]);
        }
        const bool openFirst = assignment.isOpen(*literals[0].package);
        if (!openFirst && !assignment.holds(literals[0])) {
            mine[kept++] = nogood;
            continue;
        }
        if (replaceSecond(assignment, literals)) {
            watchers[literals[1].package->id].push_back(nogood);
            continue;
        }
        mine[kept++] = nogood;
        nogood->lastUseful = ++now;
        pressing.push_back(nogood);
    }
    mine.resize(kept);
}

void NogoodStore::forgetHalf() {
    std::vector<std::uint64_t> times;
    for (const auto& nogood : nogoods) {
        times.push_back(nogood->lastUseful);
    }
    const auto middle = times.begin() + static_cast<std::ptrdiff_t>(times.size() / 2);
    std::ranges::nth_element(times, middle);
    const auto isForgotten = [oldest = *middle](const StoredNogood& nogood) {
        return nogood.uses == 0 && nogood.lastUseful < oldest;
    };
    for (Watchers& list : watchers) {
        std::erase_if(list, [&](const StoredNogood* nogood) { return isForgotten(*nogood); });
    }
    std::erase_if(nogoods, [&](const auto& nogood) { return isForgotten(*nogood); });
    footprint = 0;
    for (const auto& nogood : nogoods) {
        footprint += footprintOf(*nogood);
    }
    // What is in use has to stay; making room again pays only after as much has been added.
    limit = std::max(limit, 2 * footprint);
}

} // namespace mos
