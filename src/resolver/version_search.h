#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "manifest/dependency_spec.h"
#include "resolver/locked_package.h"
#include "resolver/nogood_store.h"
#include "resolver/package_catalog.h"
#include "resolver/partial_assignment.h"

namespace mos {

/// Finds the solution that a depth-first search with chronological backtracking would find first,
/// without its attempts that are known to fail. How, and why the answer is the same, stands on top
/// of version_search.cpp.
class VersionSearch {
public:
    // Far more than real package graphs make use of, and little for a process.
    static constexpr std::size_t usualCapacity = std::size_t{32} * 1024 * 1024;

    /// `locked` outlives the search; `nogoodCapacity` in bytes.
    VersionSearch(PackageCatalog& packageCatalog, const std::string& rootName,
                  const DependencyTable& dependencies, const LockedPackages& locked,
                  std::size_t nogoodCapacity = usualCapacity);

    /// Whether there is a solution, which the selections then are.
    [[nodiscard]] bool run();

    /// The selections, in their order: one on each level from 1 to the depth.
    [[nodiscard]] const PartialAssignment& selections() const { return assignment; }

    /// What a search has cost; for tests and measurements.
    struct Effort {
        std::size_t selections = 0;
        std::size_t conflicts = 0;        ///< each is remembered as a nogood
        std::size_t levelsPassedOver = 0; ///< undone without trying their other versions
        std::size_t nogoodsAgain = 0;     ///< nogoods that ruled versions out a second time or more
    };
    [[nodiscard]] const Effort& effort() const { return spent; }

private:
    bool choose(const Demand& demand);
    bool select(CatalogPackage& package, std::size_t version, const CatalogMetadata& metadata);
    bool settle(Nogood conflict);
    bool propagate(const CatalogPackage& package, Nogood& conflict);
    void learn(Nogood conflict);

    PackageCatalog& catalog;
    PartialAssignment assignment;
    NogoodStore nogoods;
    std::vector<Demand*> queue;
    std::size_t head = 0;
    struct Place {
        std::size_t head;      ///< position of the demand for which a version was selected
        std::size_t queueSize; ///< length of the queue before the selection
    };
    std::vector<Place> places; ///< by level - 1
    std::vector<StoredNogood*> pressing;
    Effort spent;
};

} // namespace mos
