#pragma once

#include "resolver/nogood_store.h"
#include "resolver/package_catalog.h"
#include "resolver/partial_assignment.h"

namespace mos {

/// Why a demand that is active cannot be met: literals that all hold at present and that no
/// solution fulfils all of. Empty when there is no solution at all.
[[nodiscard]] Nogood explainUnmetDemand(const PartialAssignment& assignment, const Demand& demand);

/// The same for a package that is exhausted.
[[nodiscard]] Nogood explainExhaustion(const PartialAssignment& assignment,
                                       const CatalogPackage& package);

} // namespace mos
