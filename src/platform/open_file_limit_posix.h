#pragma once

/// What the POSIX sources of this folder share; no other folder includes it.
namespace mos {

/// Lets this process have enough files open to walk through the deepest directories that have a
/// path, each level of which stays open meanwhile: as many as a path has bytes (PATH_MAX), or as
/// the system allows. Does nothing where more are allowed already.
void raiseOpenFileLimit() noexcept;

/// Sets the limit back to what this process was started with, for the programs that it starts.
void restoreOpenFileLimit() noexcept;

} // namespace mos
