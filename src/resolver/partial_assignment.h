#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "resolver/nogood_store.h"
#include "resolver/objection_counts.h"
#include "resolver/package_catalog.h"
#include "resolver/version_set.h"

namespace mos {

/// The selections made so far, one a level from 1 upwards, with what follows from them for packages
/// without one: who demands them, and which of their versions are ruled out.
///
/// A version is ruled out by every demand that does not allow it, by every nogood whose other
/// literals hold, or for good. Each of these belongs to a level (0: for good) and is withdrawn
/// when that level is undone; a version counts how many there are.
class PartialAssignment {
public:
    struct ActiveDemand {
        const Demand* demand;
        std::size_t level;
        bool counted; ///< its exclusions are in the counts
    };
    struct ActiveNogood {
        StoredNogood* nogood; ///< its first literal is ruled out
        std::size_t level;    ///< of the last selection among the other literals
    };

    /// `rootPackage` has the project's own name; it cannot be selected, only locked.
    explicit PartialAssignment(const CatalogPackage& rootPackage) : root(rootPackage) {}

    /// Selects a version that need not be published, for good and without its demands.
    void selectLocked(const CatalogPackage& package, const Version& version);

    /// Takes note of the versions of a package without selection, which have just become known.
    void openVersions(const CatalogPackage& package);

    /// Selects a version on a new level and activates its demands. Returns the first of them that
    /// cannot be met, or null.
    const Demand* select(const CatalogPackage& package, std::size_t version,
                         const CatalogMetadata& metadata);

    /// Withdraws the last selection and what followed from it.
    void undo();

    /// Activates a demand of the project; false when it cannot be met.
    [[nodiscard]] bool require(const Demand& demand) { return activate(demand, 0); }

    /// Rules out the first literal of a nogood, whose other literals hold since `level`.
    void ruleOut(StoredNogood& nogood, std::size_t level);
    /// Puts wider literals about the same packages in place of those of a nogood that rules out its
    /// first one at present.
    void widen(StoredNogood& nogood, Nogood literals);
    void ruleOutForGood(const CatalogPackage& package, const VersionSet& versions);

    [[nodiscard]] std::size_t depth() const { return levels.size(); }
    [[nodiscard]] const CatalogPackage& packageAt(std::size_t level) const {
        return *levels[level - 1].package;
    }
    [[nodiscard]] const CatalogMetadata& metadataAt(std::size_t level) const {
        return *levels[level - 1].metadata;
    }

    /// Whether the package has neither a selection nor a locked version.
    [[nodiscard]] bool isOpen(const CatalogPackage& package) const;
    /// Whether a version was selected on some level; the next one is then defined.
    [[nodiscard]] bool isSelected(const CatalogPackage& package) const;
    [[nodiscard]] std::size_t levelOf(const CatalogPackage& package) const;
    /// The locked or selected version itself; the package must not be open.
    [[nodiscard]] const Version& versionOf(const CatalogPackage& package) const;
    [[nodiscard]] bool holds(const Literal& literal) const;

    /// The highest version that is not ruled out. There must be one.
    [[nodiscard]] std::size_t highestLeft(const CatalogPackage& package);
    /// Whether a package without selection is demanded and every version is ruled out.
    [[nodiscard]] bool isExhausted(const CatalogPackage& package) const;

    [[nodiscard]] const std::vector<ActiveDemand>& demandsOf(const CatalogPackage& package) const;
    [[nodiscard]] const std::vector<ActiveNogood>& nogoodsOf(const CatalogPackage& package) const;
    [[nodiscard]] const VersionSet& ruledOutForGood(const CatalogPackage& package) const;
    /// Whether the package can be selected at all: it is neither locked nor the project.
    [[nodiscard]] bool isSelectable(const CatalogPackage& package) const;

private:
    static constexpr std::uint32_t none = UINT32_MAX;

    struct State {
        std::uint32_t version = none;
        std::uint32_t level = 0;
        const Version* locked = nullptr;
        bool versionsKnown = false;
        std::vector<ActiveDemand> demands;
        std::vector<ActiveNogood> nogoods;
        VersionSet gone;            ///< ruled out for good
        ObjectionCounts objections; ///< how often each version is ruled out
    };
    struct Level {
        const CatalogPackage* package;
        const CatalogMetadata* metadata;
        std::vector<StoredNogood*> nogoods; ///< that rule out versions since this level
    };

    State& stateOf(const CatalogPackage& package);
    [[nodiscard]] const State& knownStateOf(const CatalogPackage& package) const;
    bool activate(const Demand& demand, std::size_t level);

    const CatalogPackage& root;
    std::vector<State> states; ///< by the package's id
    std::vector<Level> levels;
};

} // namespace mos
