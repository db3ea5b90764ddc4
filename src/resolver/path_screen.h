#pragma once

#include "resolver/resolution.h"

namespace mos {

/// Throws MosException (PathTraversal, exit 1) when the name or the version of a package, which
/// become directories, is no safe piece of a path. They come from the registry or the lock file.
void screenPathPieces(const ResolvedPackage& package);

} // namespace mos
