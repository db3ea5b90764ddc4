#pragma once

#include "platform/file_handle_windows.h"

/// Only the Windows sources of this folder include it.
namespace mos {

/// Gives `file`, opened with WRITE_DAC, the list of who may do what with `model`, opened with
/// READ_CONTROL. File systems without such lists are fine. False, with the reason in
/// GetLastError(), when the list is there and cannot be given.
[[nodiscard]] bool copyAccessRights(const FileHandle& model, const FileHandle& file);

} // namespace mos
