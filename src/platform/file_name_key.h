#pragma once

#include <filesystem>

namespace mos {

/// A text that two relative paths share when the system takes them for names of one file: on
/// Windows their case does not count. It is no name itself.
[[nodiscard]] std::filesystem::path::string_type fileNameKey(const std::filesystem::path& name);

} // namespace mos
