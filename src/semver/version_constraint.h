#pragma once

#include <compare>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "semver/version.h"

namespace mos {

enum class ComparatorOperator : std::uint32_t {
    Exact = 0,
    Greater = 1,
    GreaterEqual = 2,
    Less = 3,
    LessEqual = 4,
    Caret = 5,
    Tilde = 6,
    Any = 7,
};

/// One condition on a version: an operator and the version it compares with.
struct Comparator {
    ComparatorOperator op = ComparatorOperator::Any;
    Version version; ///< ignored by Any

    /// Whether `candidate` fulfils this condition. A pre-release fulfils a condition on a release
    /// only when both have the same major, minor and patch. An operator outside the enumeration
    /// is never fulfilled.
    [[nodiscard]] bool matches(const Version& candidate) const;

    /// Where a release lies: `less` below what fulfils this condition, `equivalent` within,
    /// `greater` above. Everything lies below what an operator outside the enumeration allows.
    [[nodiscard]] std::weak_ordering position(const Version& candidate) const;

    /// The operator's symbol and the version; "*" alone for Any.
    [[nodiscard]] std::string to_string() const;
};

/// What a dependency requires: comparators that must all hold. There is no "or".
struct VersionConstraint {
    std::vector<Comparator> comparators;
    std::string raw; ///< trimmed text it was read from; empty when built in code

    /// Reads a constraint ("^1.2", ">=1.0, <2.0", "*"); nothing when the text is not one. A bare
    /// version means exactly that version. The only wildcard form besides "*" is "1.*".
    [[nodiscard]] static std::optional<VersionConstraint> parse(std::string_view text);

    /// The constraint that every version fulfils.
    [[nodiscard]] static VersionConstraint any();

    /// Whether `version` fulfils every comparator. Throws std::out_of_range like the comparison
    /// of versions.
    [[nodiscard]] bool matches(const Version& version) const;

    /// The text the user wrote; for a constraint built in code its comparators joined with ", ".
    [[nodiscard]] std::string to_string() const;
};

} // namespace mos
