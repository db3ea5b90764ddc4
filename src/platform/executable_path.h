#pragma once

#include <filesystem>
#include <optional>

namespace mos {

/// The full path of the running program; nothing when the system does not tell.
[[nodiscard]] std::optional<std::filesystem::path> executablePath();

} // namespace mos
