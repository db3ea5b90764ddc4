#pragma once

#include <string_view>

namespace mos {

/// Whether the system takes every piece of the relative path `name` ("/" separates) for the name
/// of an ordinary file or directory, and takes it whole. Empty pieces, "." and ".." are fine.
///
/// Not plain is on every system a name with a NUL byte; on Windows also what is no UTF-8, device
/// names ("NUL", "com1.txt"), pieces that end in a dot or a blank, and characters with a meaning
/// ("name:stream", "a*b", control characters).
[[nodiscard]] bool isPlainFileName(std::string_view name) noexcept;

} // namespace mos
