#pragma once

#include <cstdint>
#include <string_view>

namespace mos {

/// What went wrong, as users see it. The display code is one higher than the value: value 0 is
/// shown as MOS001.
enum class ErrorCode : std::int32_t {
    ManifestParse = 0,
    InvalidPackageName = 1,
    InvalidVersion = 2,
    DependencyNotFound = 3,
    DependencyConflict = 4,
    PackageNotFound = 5,
    ChecksumMismatch = 6,
    RegistryError = 7,
    AuthError = 8,
    InvalidArchive = 9,
    PathTraversal = 10,
    BuildFailed = 11,
};

/// "MOS001" to "MOS012"; "MOS000" for a value outside the enumeration.
[[nodiscard]] std::string_view displayCode(ErrorCode code) noexcept;

/// The fixed title of a code; "error" for a value outside the enumeration.
[[nodiscard]] std::string_view errorTitle(ErrorCode code) noexcept;

} // namespace mos
