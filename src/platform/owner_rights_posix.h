#pragma once

#include <filesystem>

namespace mos {

/// Gives the owner, who has to be this user, every right to a directory. What is not writable can
/// neither be emptied nor moved to another directory. A link is not followed. False when it is no
/// directory of this user's.
bool letOwnerIn(const std::filesystem::path& directory);

/// The same for a directory and every one below it; what cannot be changed stays as it is.
void letOwnerInBelow(const std::filesystem::path& directory);

} // namespace mos
