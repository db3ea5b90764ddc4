#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "resolver/package_catalog.h"
#include "resolver/version_set.h"

namespace mos {

class PartialAssignment;

/// "This package is selected, in one of these versions", or in one that is found later to have the
/// same demand.
struct Literal {
    const CatalogPackage* package;
    VersionSet versions;
    const Demand* demand; ///< may be null

    /// `versions`, and those found since.
    [[nodiscard]] VersionSet versionsNow() const;
};

/// Literals, one for a package, that no solution fulfils all of.
using Nogood = std::vector<Literal>;

/// Whether `nogood`, in place of `other`, says all that both say; it is extended if that makes it
/// so. That is: both have the same packages, the first two in the same order, and `other` is
/// nowhere wider, or differs in the first literal only.
[[nodiscard]] bool absorb(Nogood& nogood, const Nogood& other);

/// A nogood in the store. While all its literals but one hold, that one is the first.
struct StoredNogood {
    Nogood literals;
    std::size_t uses = 0;         ///< how often versions are ruled out by it at present
    std::uint64_t lastUseful = 0; ///< when it last ruled out versions
};

/// Remembers nogoods and tells which of them a selection has left with at most one literal that
/// does not hold. Of each nogood two literals that do not hold are watched as long as there are
/// two, so a selection costs the nogoods that watch its package, not all there are.
///
/// Memory is bounded: when it is full, the half of the nogoods that has not been useful for longest
/// is forgotten, except those in use, which are needed and may exceed the bound.
class NogoodStore {
public:
    /// `capacity` in bytes.
    explicit NogoodStore(std::size_t capacity) : limit(capacity) {}

    /// Adds a nogood of two literals or more. The first is the one that does not hold; the second
    /// is the last selected of the others.
    StoredNogood& add(Nogood literals);

    /// To be called after each selection. Appends the nogoods in which all literals but the first
    /// hold now; the first may hold, too, or be about a package without selection.
    void noteSelection(const PartialAssignment& assignment, const CatalogPackage& package,
                       std::vector<StoredNogood*>& pressing);

    [[nodiscard]] std::size_t size() const { return nogoods.size(); }

private:
    using Watchers = std::vector<StoredNogood*>;

    void forgetHalf();

    std::size_t limit;
    std::size_t footprint = 0;
    std::uint64_t now = 0;
    std::vector<std::unique_ptr<StoredNogood>> nogoods;
    std::vector<Watchers> watchers; ///< by the package's id
};

} // namespace mos
