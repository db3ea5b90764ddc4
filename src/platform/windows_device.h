#pragma once

#include <string_view>

namespace mos {

/// Whether Windows takes a file name without directories for one of its devices, in whatever
/// directory and with whatever extension: "NUL", "com1.txt", "conin$".
[[nodiscard]] bool isWindowsDevice(std::string_view fileName) noexcept;

} // namespace mos
