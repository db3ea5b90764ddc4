#include "semver/version.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <stdexcept>

namespace mos {
namespace {

bool isDecimal(std::string_view text) {
    return !text.empty() && std::ranges::all_of(text, [](char c) { return c >= '0' && c <= '9'; });
}

std::optional<std::uint64_t> parseNumber(std::string_view text) {
    if (!isDecimal(text)) {
        return std::nullopt;
    }
    std::uint64_t value = 0;
    const auto result = std::from_chars(text.data(), text.data() + text.size(), value);
    if (result.ec != std::errc{}) {
        return std::nullopt;
    }
    return value;
}

/// Every piece between dots, empty ones included.
std::vector<std::string> splitAtDots(std::string_view text) {
    std::vector<std::string> pieces;
    std::size_t start = 0;
    for (std::size_t dot = text.find('.'); dot != std::string_view::npos;
         dot = text.find('.', start)) {
        pieces.emplace_back(text.substr(start, dot - start));
        start = dot + 1;
    }
    pieces.emplace_back(text.substr(start));
    return pieces;
}

struct Core {
    std::uint64_t major;
    std::uint64_t minor;
    std::uint64_t patch;
};

std::optional<Core> parseCore(std::string_view text) {
    if (std::ranges::count(text, '.') != 2) {
        return std::nullopt;
    }
    const std::size_t first = text.find('.');
    const std::size_t second = text.find('.', first + 1);
    const auto major = parseNumber(text.substr(0, first));
    const auto minor = parseNumber(text.substr(first + 1, second - first - 1));
    const auto patch = parseNumber(text.substr(second + 1));
    if (!major || !minor || !patch) {
        return std::nullopt;
    }
    return Core{*major, *minor, *patch};
}

std::uint64_t identifierNumber(std::string_view identifier) {
    const auto number = parseNumber(identifier);
    if (!number) {
        throw std::out_of_range("pre-release identifier out of range: " + std::string(identifier));
    }
    return *number;
}

std::weak_ordering compareIdentifiers(std::string_view a, std::string_view b) {
    const bool numericA = isDecimal(a);
    const bool numericB = isDecimal(b);
    if (numericA && numericB) {
        return identifierNumber(a) <=> identifierNumber(b);
    }
    if (numericA != numericB) {
        return numericA ? std::weak_ordering::less : std::weak_ordering::greater;
    }
    // char_traits<char> compares bytes as unsigned.
    return a <=> b;
}

std::weak_ordering comparePrerelease(const std::vector<std::string>& a,
                                     const std::vector<std::string>& b) {
    if (a.empty() || b.empty()) {
        // A release stands above its pre-releases.
        return a.empty() <=> b.empty();
    }
    const std::size_t common = std::min(a.size(), b.size());
    for (std::size_t i = 0; i < common; ++i) {
        const auto order = compareIdentifiers(a[i], b[i]);
        if (order != 0) {
            return order;
        }
    }
    return a.size() <=> b.size();
}

} // namespace

std::optional<Version> Version::parse(std::string_view text) {
    const std::size_t start = text.find_first_not_of(" \t\r\n");
    if (start == std::string_view::npos) {
        return std::nullopt;
    }
    text.remove_prefix(start);
    if (text.front() == 'v' || text.front() == 'V') {
        text.remove_prefix(1);
    }

    Version version;
    if (const std::size_t plus = text.find('+'); plus != std::string_view::npos) {
        version.build = text.substr(plus + 1);
        text = text.substr(0, plus);
    }
    if (const std::size_t dash = text.find('-'); dash != std::string_view::npos) {
        version.prerelease = splitAtDots(text.substr(dash + 1));
        text = text.substr(0, dash);
    }
    const auto core = parseCore(text);
    if (!core) {
        return std::nullopt;
    }
    version.major = core->major;
    version.minor = core->minor;
    version.patch = core->patch;
    return version;
}

std::string Version::to_string() const {
    std::string text =
        std::to_string(major) + "." + std::to_string(minor) + "." + std::to_string(patch);
    for (std::size_t i = 0; i < prerelease.size(); ++i) {
        text.append(i == 0 ? "-" : ".").append(prerelease[i]);
    }
    if (!build.empty()) {
        text.append("+").append(build);
    }
    return text;
}

std::weak_ordering operator<=>(const Version& a, const Version& b) {
    if (const auto order = a.major <=> b.major; order != 0) {
        return order;
    }
    if (const auto order = a.minor <=> b.minor; order != 0) {
        return order;
    }
    if (const auto order = a.patch <=> b.patch; order != 0) {
        return order;
    }
    return comparePrerelease(a.prerelease, b.prerelease);
}

bool operator==(const Version& a, const Version& b) {
    return (a <=> b) == 0;
}

} // namespace mos
