#include "resolver/conflict_analysis.h"

#include <algorithm>
#include <cstddef>
#include <unordered_map>
#include <utility>
#include <vector>

namespace mos {
namespace {

// Shortening takes time with the square of the number of reasons.
constexpr std::size_t mostToShorten = 64;

/// Builds a nogood in which no package occurs twice.
class NogoodBuilder {
public:
    void add(Literal literal) {
        const auto [known, isNew] = placeOf.try_emplace(literal.package, literals.size());
        if (isNew) {
            literals.push_back(std::move(literal));
            return;
        }
        Literal& earlier = literals[known->second];
        earlier.versions.intersect(literal.versions);
        if (earlier.demand != literal.demand) {
            earlier.demand = nullptr;
        }
    }

    /// Who has the demand; nothing when it is the project.
    void addRequirer(const Demand& demand) {
        if (demand.requirer != nullptr) {
            add({demand.requirer, demand.requirerVersions, &demand});
        }
    }

    Nogood take() { return std::move(literals); }

private:
    Nogood literals;
    std::unordered_map<const CatalogPackage*, std::size_t> placeOf;
};

/// One thing that rules versions out.
struct Reason {
    const Demand* demand;       ///< null: the nogood
    const StoredNogood* nogood; ///< null: the demand

    [[nodiscard]] const VersionSet& versions() const {
        return demand != nullptr ? *demand->requirement.excluded
                                 : nogood->literals.front().versions;
    }
};

/// Goes through what rules versions of a package out, lower levels first.
class ReasonsByLevel {
public:
    ReasonsByLevel(const PartialAssignment& assignment, const CatalogPackage& package)
        : demands(assignment.demandsOf(package)), nogoods(assignment.nogoodsOf(package)) {
        std::ranges::stable_sort(nogoods, {}, &PartialAssignment::ActiveNogood::level);
    }

    /// There must be another one.
    Reason next() {
        if (nextNogood == nogoods.size() ||
            (nextDemand < demands.size() &&
             demands[nextDemand].level <= nogoods[nextNogood].level)) {
            return {demands[nextDemand++].demand, nullptr};
        }
        return {nullptr, nogoods[nextNogood++].nogood};
    }

private:
    const std::vector<PartialAssignment::ActiveDemand>& demands;
    std::vector<PartialAssignment::ActiveNogood> nogoods;
    std::size_t nextDemand = 0;
    std::size_t nextNogood = 0;
};

/// Those of the reasons, taken from the front, that are needed to cover every version.
template<typename Next>
std::vector<Reason> cover(VersionSet covered, const VersionSet& all, Next next) {
    std::vector<Reason> used;
    while (!covered.includes(all)) {
        const Reason reason = next();
        if (!covered.includes(reason.versions())) {
            covered.unite(reason.versions());
            used.push_back(reason);
        }
    }
    return used;
}

/// Leaves out what the others cover, too. The last one is needed, as those before it did not cover
/// everything; it is put in front and the rest is gone through again, until all are known to be.
std::vector<Reason> withoutNeedless(std::vector<Reason> reasons, const VersionSet& gone,
                                    const VersionSet& all) {
    if (reasons.size() > mostToShorten) {
        return reasons;
    }
    for (std::size_t settled = 1; settled < reasons.size(); ++settled) {
        std::rotate(reasons.begin(), reasons.end() - 1, reasons.end());
        auto next = reasons.begin();
        reasons = cover(gone, all, [&next] { return *next++; });
    }
    return reasons;
}

} // namespace

Nogood explainExhaustion(const PartialAssignment& assignment, const CatalogPackage& package) {
    const VersionSet all = VersionSet::below(package.versions->size());
    const VersionSet& gone = assignment.ruledOutForGood(package);
    ReasonsByLevel source(assignment, package);
    const std::vector<Reason> reasons =
        withoutNeedless(cover(gone, all, [&source] { return source.next(); }), gone, all);

    NogoodBuilder builder;
    bool demanded = false;
    for (const Reason& reason : reasons) {
        if (reason.demand != nullptr) {
            builder.addRequirer(*reason.demand);
            demanded = true;
            continue;
        }
        const Nogood& literals = reason.nogood->literals;
        for (std::size_t i = 1; i < literals.size(); ++i) {
            builder.add({literals[i].package, literals[i].versionsNow(), literals[i].demand});
        }
    }
    if (!demanded) {
        builder.addRequirer(*assignment.demandsOf(package).front().demand);
    }
    return builder.take();
}

Nogood explainUnmetDemand(const PartialAssignment& assignment, const Demand& demand) {
    Requirement& requirement = demand.requirement;
    if (assignment.isSelectable(requirement.package) && assignment.isOpen(requirement.package)) {
        return explainExhaustion(assignment, requirement.package);
    }
    NogoodBuilder builder;
    builder.addRequirer(demand);
    if (assignment.isSelected(requirement.package)) {
        builder.add({&requirement.package, PackageCatalog::excludedBy(requirement), nullptr});
    }
    return builder.take();
}

} // namespace mos
