#pragma once

#include <cstdint>
#include <filesystem>
#include <string>

namespace mos {

/// The name of a new file that is to replace another one in its directory:
/// ".mos-new-PROCESS-MOMENT". `process` is the system's number of this process, `moment` the time
/// since some fixed one, finely enough that nobody gives the name twice, not in another container
/// or on another machine either, whose processes may have the same numbers.
[[nodiscard]] std::string temporaryName(std::uint64_t process, std::uint64_t moment);

/// Whether `fileName` is such a name, of this process or another one.
[[nodiscard]] bool isTemporaryName(const std::filesystem::path& fileName);

} // namespace mos
