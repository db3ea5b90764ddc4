#pragma once

#include <compare>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace mos {

/// A semantic version, ordered by the precedence rules of SemVer 2.0.0. Build metadata is kept and
/// printed and takes no part in equality or order.
///
/// The parser is more lenient than SemVer 2.0.0: a "v" prefix, leading blanks, leading zeros and
/// empty pre-release identifiers are accepted.
struct Version {
    std::uint64_t major = 0;
    std::uint64_t minor = 0;
    std::uint64_t patch = 0;
    std::vector<std::string> prerelease; ///< identifiers after "-"; empty for a release
    std::string build;                   ///< text after "+"; empty when absent

    /// Reads a whole version ("1.2.3-rc.1+build"); nothing when the text is not one.
    [[nodiscard]] static std::optional<Version> parse(std::string_view text);

    /// The canonical text; parsing it gives the same version.
    [[nodiscard]] std::string to_string() const;
};

/// Precedence. Throws std::out_of_range when two numeric pre-release identifiers have to be
/// compared of which one does not fit in 64 bits.
[[nodiscard]] std::weak_ordering operator<=>(const Version& a, const Version& b);
[[nodiscard]] bool operator==(const Version& a, const Version& b);

} // namespace mos
