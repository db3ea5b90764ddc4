#pragma once

#include "cli/command_context.h"

namespace mos {

/// Makes `packages` of the project in the current directory exactly what moss.lock says, without
/// choosing anything: the locked packages with the files of their archives and nothing else. The
/// registry is asked for archives that are not cached alone. Under the flag "offline" nothing is
/// downloaded. moss.lock is not written.
///
/// Nothing is changed when the lock file is missing, damaged or no answer to moss.toml. Prints what
/// it does; throws MosException and file-system errors.
void installLocked(const CommandContext& context);

} // namespace mos
