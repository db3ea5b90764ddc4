#include "semver/version_constraint.h"

#include <algorithm>
#include <array>
#include <limits>
#include <utility>

#include "semver/trim.h"

namespace mos {
namespace {

struct OperatorPrefix {
    std::string_view symbol;
    ComparatorOperator op;
};

// Two-character symbols first: ">=" also begins with ">".
constexpr std::array<OperatorPrefix, 7> operatorPrefixes{{
    {">=", ComparatorOperator::GreaterEqual},
    {"<=", ComparatorOperator::LessEqual},
    {">", ComparatorOperator::Greater},
    {"<", ComparatorOperator::Less},
    {"=", ComparatorOperator::Exact},
    {"^", ComparatorOperator::Caret},
    {"~", ComparatorOperator::Tilde},
}};

/// Takes the next token from the front of `text`; empty when there is none left.
std::string_view takeToken(std::string_view& text) {
    constexpr std::string_view separators = ", \t\n\v\f\r";
    text.remove_prefix(std::min(text.find_first_not_of(separators), text.size()));
    const std::string_view token = text.substr(0, text.find_first_of(separators));
    text.remove_prefix(token.size());
    return token;
}

/// A version, or a partial one completed with zeros: "1.2" is 1.2.0, "1" is 1.0.0.
std::optional<Version> parsePossiblyPartial(std::string_view text) {
    const auto dots = std::ranges::count(text, '.');
    if (dots == 0) {
        return Version::parse(std::string(text) + ".0.0");
    }
    return dots == 1 ? Version::parse(std::string(text) + ".0") : Version::parse(text);
}

Version release(std::uint64_t major, std::uint64_t minor, std::uint64_t patch) {
    return Version{major, minor, patch, {}, {}};
}

bool sameCore(const Version& a, const Version& b) {
    return a.major == b.major && a.minor == b.minor && a.patch == b.patch;
}

constexpr std::uint64_t largest = std::numeric_limits<std::uint64_t>::max();

/// Whether `candidate` is below the next major version after `floor`; there may be no such number.
bool belowNextMajor(const Version& candidate, const Version& floor) {
    return floor.major == largest || candidate < release(floor.major + 1, 0, 0);
}

bool belowNextMinor(const Version& candidate, const Version& floor) {
    return floor.minor == largest ? candidate.major == floor.major
                                  : candidate < release(floor.major, floor.minor + 1, 0);
}

/// Where a version lies that is not below the floor of a range.
std::weak_ordering aboveFloor(bool isWithin) {
    return isWithin ? std::weak_ordering::equivalent : std::weak_ordering::greater;
}

std::weak_ordering caretPosition(const Version& candidate, const Version& floor) {
    if (candidate < floor) {
        return std::weak_ordering::less;
    }
    if (floor.major != 0) {
        return aboveFloor(belowNextMajor(candidate, floor));
    }
    return aboveFloor(floor.minor != 0 ? belowNextMinor(candidate, floor) : candidate == floor);
}

std::weak_ordering tildePosition(const Version& candidate, const Version& floor) {
    return candidate < floor ? std::weak_ordering::less
                             : aboveFloor(belowNextMinor(candidate, floor));
}

std::string_view symbolOf(ComparatorOperator op) {
    for (const OperatorPrefix& prefix : operatorPrefixes) {
        if (prefix.op == op) {
            return prefix.symbol;
        }
    }
    return "";
}

} // namespace

bool Comparator::matches(const Version& candidate) const {
    if (op == ComparatorOperator::Any) {
        return true;
    }
    if (!candidate.prerelease.empty() && version.prerelease.empty() &&
        !sameCore(candidate, version)) {
        return false;
    }
    return position(candidate) == 0;
}

std::weak_ordering Comparator::position(const Version& candidate) const {
    using std::weak_ordering;
    switch (op) {
    case ComparatorOperator::Exact:
        return candidate <=> version;
    case ComparatorOperator::Greater:
        return candidate > version ? weak_ordering::equivalent : weak_ordering::less;
    case ComparatorOperator::GreaterEqual:
        return candidate >= version ? weak_ordering::equivalent : weak_ordering::less;
    case ComparatorOperator::Less:
        return candidate < version ? weak_ordering::equivalent : weak_ordering::greater;
    case ComparatorOperator::LessEqual:
        return candidate <= version ? weak_ordering::equivalent : weak_ordering::greater;
    case ComparatorOperator::Caret:
        return caretPosition(candidate, version);
    case ComparatorOperator::Tilde:
        return tildePosition(candidate, version);
    case ComparatorOperator::Any:
        return weak_ordering::equivalent;
    }
    return weak_ordering::less;
}

std::string Comparator::to_string() const {
    if (op == ComparatorOperator::Any) {
        return "*";
    }
    return std::string(symbolOf(op)) + version.to_string();
}

std::optional<VersionConstraint> VersionConstraint::parse(std::string_view text) {
    text = trim(text);
    if (text.empty() || text == "*") {
        return any();
    }
    VersionConstraint constraint;
    constraint.raw = text;
    for (auto token = takeToken(text); !token.empty(); token = takeToken(text)) {
        const auto prefix =
            std::ranges::find_if(operatorPrefixes, [token](const OperatorPrefix& candidate) {
                return token.starts_with(candidate.symbol);
            });
        ComparatorOperator op = ComparatorOperator::Exact;
        std::string_view versionText = token;
        if (prefix != operatorPrefixes.end()) {
            op = prefix->op;
            versionText.remove_prefix(prefix->symbol.size());
            if (versionText.empty()) {
                versionText = takeToken(text);
            }
        } else if (token == "*") {
            constraint.comparators.push_back({});
            continue;
        } else if (token.starts_with("1.*")) {
            // Deliberate: the only wildcard that is expanded, whatever follows it. "2.*" and
            // "1.2.*" are no constraints.
            constraint.comparators.push_back({ComparatorOperator::GreaterEqual, release(1, 0, 0)});
            constraint.comparators.push_back({ComparatorOperator::Less, release(2, 0, 0)});
            continue;
        }
        auto version = parsePossiblyPartial(versionText);
        if (!version) {
            return std::nullopt;
        }
        constraint.comparators.push_back({op, *std::move(version)});
    }
    return constraint;
}

VersionConstraint VersionConstraint::any() {
    return VersionConstraint{{Comparator{}}, "*"};
}

bool VersionConstraint::matches(const Version& version) const {
    return std::ranges::all_of(comparators, [&version](const Comparator& comparator) {
        return comparator.matches(version);
    });
}

std::string VersionConstraint::to_string() const {
    if (!raw.empty()) {
        return raw;
    }
    if (comparators.empty()) {
        return "*";
    }
    std::string text;
    for (const Comparator& comparator : comparators) {
        text.append(text.empty() ? "" : ", ").append(comparator.to_string());
    }
    return text;
}

} // namespace mos
