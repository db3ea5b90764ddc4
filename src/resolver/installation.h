#pragma once

#include "cli/command_context.h"

namespace mos {

/// What an installation does with the versions of an existing moss.lock.
enum class LockedVersions {
    Keep,   ///< where they still satisfy the manifest
    Ignore, ///< every version is chosen afresh
};

/// Resolves the project of the current directory, writes moss.lock, and brings every package of
/// the resolution that is missing under `packages` there: from the cache, else from the registry.
/// Under the flag "offline" nothing is downloaded. Prints what it does; throws MosException and
/// file-system errors. Packages handled before a failure stay.
void installDependencies(const CommandContext& context, LockedVersions lockedVersions);

} // namespace mos
