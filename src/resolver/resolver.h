#pragma once

#include "manifest/manifest.h"
#include "resolver/lockfile.h"
#include "resolver/package_source.h"
#include "resolver/resolution.h"

namespace mos {

/// Turns a manifest's dependencies into a complete set of packages.
class Resolver {
public:
    /// Resolves `manifest` with what `source` publishes. With `useLockfile`, locked versions of
    /// direct dependencies are kept where they still satisfy the manifest; `lockfile` may be null.
    ///
    /// Throws MosException (DependencyConflict, exit 4) with the message of the last failed
    /// attempt. What `source` throws passes through. The source is asked at most once for a
    /// name's versions and once for a version's metadata. docs/resolver.md says how.
    [[nodiscard]] static Resolution resolve(IPackageSource& source, const Manifest& manifest,
                                            const Lockfile* lockfile, bool useLockfile);
};

} // namespace mos
