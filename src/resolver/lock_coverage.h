#pragma once

#include <optional>
#include <string>

#include "manifest/dependency_spec.h"
#include "resolver/lockfile.h"

namespace mos {

/// Why `lockfile` is not an answer to what `dependencies` asks for: a dependency that is not locked
/// or is locked in a version that its constraint does not allow, or a locked package that needs one
/// that is not locked. Nothing when it is one.
///
/// Of several reasons it is the first in byte order of the names that they begin with. Path and git
/// dependencies come from the registry like all others, and are locked like them.
[[nodiscard]] std::optional<std::string> gapInLock(const DependencyTable& dependencies,
                                                   const Lockfile& lockfile);

} // namespace mos
