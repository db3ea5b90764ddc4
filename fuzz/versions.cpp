#include "semver/version_constraint.h"

#include <stdexcept>
#include <string>

#include "targets.h"

namespace mos::fuzz {
namespace {

/// The comparison, unless a number in a pre-release does not fit.
std::optional<std::weak_ordering> compared(const Version& a, const Version& b) {
    try {
        return a <=> b;
    } catch (const std::out_of_range&) {
        return std::nullopt;
    }
}

void checkVersion(const Version& version) {
    const auto again = Version::parse(version.to_string());
    require(again.has_value(), "a version's own text is a version");
    require(again->to_string() == version.to_string(), "the text survives a round");
    const auto order = compared(version, *again);
    require(!order || *order == 0, "the version survives a round");
}

} // namespace

void versions(std::string_view input) {
    // A version and a constraint, or two versions, with a line feed between them.
    const std::size_t end = std::min(input.find('\n'), input.size());
    const auto first = Version::parse(input.substr(0, end));
    const std::string_view rest = input.substr(std::min(end + 1, input.size()));
    const auto second = Version::parse(rest);
    if (first) {
        checkVersion(*first);
    }
    if (first && second) {
        const auto order = compared(*first, *second);
        const auto reverse = compared(*second, *first);
        require(order.has_value() == reverse.has_value(), "both can be compared or neither");
        require(!order || (*order < 0) == (*reverse > 0), "the order has one direction");
    }
    const auto constraint = VersionConstraint::parse(rest);
    if (!constraint) {
        return;
    }
    const auto again = VersionConstraint::parse(constraint->to_string());
    require(again.has_value(), "a constraint's own text is a constraint");
    require(again->comparators.size() == constraint->comparators.size(),
            "a constraint survives a round");
    if (first) {
        try {
            require(constraint->matches(*first) == again->matches(*first),
                    "a constraint means the same after a round");
        } catch (const std::out_of_range&) {
            return;
        }
    }
}

} // namespace mos::fuzz
