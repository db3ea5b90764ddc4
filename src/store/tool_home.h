#pragma once

#include <filesystem>

namespace mos {

/// The directory of the user-wide files: MOSS_HOME, else USERPROFILE joined with ".moss", else the
/// current directory joined with ".moss". Read anew at every call.
[[nodiscard]] std::filesystem::path toolHome();

} // namespace mos
