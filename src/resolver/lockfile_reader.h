#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "resolver/lockfile.h"

namespace mos {

/// Reads the text of a lock file that is taken at its word: what Lockfile::toString() writes, lists
/// of dependencies over several lines included, and every other document that the TOML reader
/// accepts. Unknown keys are ignored.
///
/// On failure returns nothing and one sentence in `error`: the text is not a document, or an entry
/// has no name, no valid version, a value of the wrong kind, or the name of another entry.
[[nodiscard]] std::optional<Lockfile> readLockfile(std::string_view text, std::string& error);

} // namespace mos
