#pragma once

#include <cstdint>
#include <filesystem>
#include <string>

namespace mos {

/// The name of a new file that is to replace another one in its directory:
/// ".mos-new-PROCESS-COUNT". This process, of which `process` is the system's number, gives it
/// once, and no other one of the same system gives it while this one lives. Safe to call from every
/// thread.
[[nodiscard]] std::string nextTemporaryName(std::uint64_t process);

/// Whether `fileName` is such a name, of this process or another one.
[[nodiscard]] bool isTemporaryName(const std::filesystem::path& fileName);

} // namespace mos
