#include "resolver/partial_assignment.h"

#include <algorithm>
#include <utility>

namespace mos {

PartialAssignment::State& PartialAssignment::stateOf(const CatalogPackage& package) {
    if (states.size() <= package.id) {
        states.resize(package.id + 1);
    }
    return states[package.id];
}

const PartialAssignment::State&
PartialAssignment::knownStateOf(const CatalogPackage& package) const {
    static const State untouched;
    return package.id < states.size() ? states[package.id] : untouched;
}

void PartialAssignment::selectLocked(const CatalogPackage& package, const Version& version) {
    stateOf(package).locked = &version;
}

void PartialAssignment::openVersions(const CatalogPackage& package) {
    State& state = stateOf(package);
    if (state.versionsKnown) {
        return;
    }
    state.versionsKnown = true;
    state.objections = ObjectionCounts(package.versions->size());
    for (ActiveDemand& active : state.demands) {
        state.objections.add(PackageCatalog::excludedBy(active.demand->requirement));
        active.counted = true;
    }
    VersionSet repeated;
    for (std::size_t place = 0; place < package.firstPlaces.size(); ++place) {
        if (package.isRepeated(place)) {
            repeated.insert(place);
        }
    }
    ruleOutForGood(package, repeated);
}

bool PartialAssignment::activate(const Demand& demand, std::size_t level) {
    Requirement& requirement = demand.requirement;
    State& state = stateOf(requirement.package);
    const bool counted = state.versionsKnown && isOpen(requirement.package);
    state.demands.push_back({&demand, level, counted});
    if (!isSelectable(requirement.package)) {
        return state.locked != nullptr && !PackageCatalog::excludes(requirement, *state.locked);
    }
    if (state.version != none) {
        return !PackageCatalog::excludes(requirement, versionOf(requirement.package));
    }
    if (counted) {
        state.objections.add(PackageCatalog::excludedBy(requirement));
    }
    return !isExhausted(requirement.package);
}

const Demand* PartialAssignment::select(const CatalogPackage& package, std::size_t version,
                                        const CatalogMetadata& metadata) {
    levels.push_back({&package, &metadata, {}});
    State& state = stateOf(package);
    state.version = static_cast<std::uint32_t>(version);
    state.level = static_cast<std::uint32_t>(levels.size());
    const Demand* failed = nullptr;
    for (const Demand* demand : metadata.demands) {
        if (!activate(*demand, levels.size()) && failed == nullptr) {
            failed = demand;
        }
    }
    return failed;
}

void PartialAssignment::undo() {
    const Level& level = levels.back();
    // A package has one demand on a name, and later levels are undone: it is the name's last.
    for (const Demand* demand : level.metadata->demands) {
        State& state = stateOf(demand->requirement.package);
        if (state.demands.back().counted) {
            state.objections.remove(*demand->requirement.excluded);
        }
        state.demands.pop_back();
    }
    for (StoredNogood* nogood : level.nogoods) {
        const Literal& ruledOut = nogood->literals.front();
        State& state = stateOf(*ruledOut.package);
        state.objections.remove(ruledOut.versions);
        // From the back: but for what was learned about a lower level, the latest goes first.
        const auto found =
            std::find_if(state.nogoods.rbegin(), state.nogoods.rend(),
                         [nogood](const ActiveNogood& active) { return active.nogood == nogood; });
        *found = state.nogoods.back();
        state.nogoods.pop_back();
        --nogood->uses;
    }
    stateOf(*level.package).version = none;
    levels.pop_back();
}

void PartialAssignment::ruleOut(StoredNogood& nogood, std::size_t level) {
    Literal& ruledOut = nogood.literals.front();
    // Not while it rules them out: what has been counted must be the same when it is withdrawn.
    ruledOut.versions = ruledOut.versionsNow();
    State& state = stateOf(*ruledOut.package);
    state.objections.add(ruledOut.versions);
    state.nogoods.push_back({&nogood, level});
    levels[level - 1].nogoods.push_back(&nogood);
    ++nogood.uses;
}

void PartialAssignment::widen(StoredNogood& nogood, Nogood literals) {
    State& state = stateOf(*nogood.literals.front().package);
    state.objections.remove(nogood.literals.front().versions);
    nogood.literals = std::move(literals);
    state.objections.add(nogood.literals.front().versions);
}

void PartialAssignment::ruleOutForGood(const CatalogPackage& package, const VersionSet& versions) {
    State& state = stateOf(package);
    state.objections.add(versions);
    state.gone.unite(versions);
}

bool PartialAssignment::isOpen(const CatalogPackage& package) const {
    const State& state = knownStateOf(package);
    return state.version == none && state.locked == nullptr;
}

bool PartialAssignment::isSelected(const CatalogPackage& package) const {
    return knownStateOf(package).version != none;
}

bool PartialAssignment::isSelectable(const CatalogPackage& package) const {
    return &package != &root && knownStateOf(package).locked == nullptr;
}

std::size_t PartialAssignment::levelOf(const CatalogPackage& package) const {
    return knownStateOf(package).level;
}

const Version& PartialAssignment::versionOf(const CatalogPackage& package) const {
    const State& state = knownStateOf(package);
    return state.locked != nullptr ? *state.locked : (*package.versions)[state.version];
}

bool PartialAssignment::holds(const Literal& literal) const {
    const State& state = knownStateOf(*literal.package);
    return state.version != none && (literal.versions.contains(state.version) ||
                                     (literal.demand != nullptr &&
                                      literal.demand->requirerVersions.contains(state.version)));
}

std::size_t PartialAssignment::highestLeft(const CatalogPackage& package) {
    return stateOf(package).objections.firstLeft();
}

bool PartialAssignment::isExhausted(const CatalogPackage& package) const {
    const State& state = knownStateOf(package);
    return state.versionsKnown && state.objections.isTotal() && !state.demands.empty() &&
           isOpen(package);
}

const std::vector<PartialAssignment::ActiveDemand>&
PartialAssignment::demandsOf(const CatalogPackage& package) const {
    return knownStateOf(package).demands;
}

const std::vector<PartialAssignment::ActiveNogood>&
PartialAssignment::nogoodsOf(const CatalogPackage& package) const {
    return knownStateOf(package).nogoods;
}

const VersionSet& PartialAssignment::ruledOutForGood(const CatalogPackage& package) const {
    return knownStateOf(package).gone;
}

} // namespace mos
