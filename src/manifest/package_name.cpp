#include "manifest/package_name.h"

#include <algorithm>
#include <array>

#include "platform/failure.h"

namespace mos {
namespace {

constexpr std::size_t longestName = 64;

constexpr std::array<std::string_view, 18> reservedIdentifiers{
    "std", "core",  "moss",   "mos",  "test",    "main", "null", "true",  "false",
    "int", "float", "string", "bool", "boolean", "void", "any",  "class", "function"};

bool isUpper(char c) {
    return c >= 'A' && c <= 'Z';
}

bool isLetter(char c) {
    return isUpper(c) || (c >= 'a' && c <= 'z');
}

bool mayStandInName(char c) {
    return isLetter(c) || (c >= '0' && c <= '9') || c == '-' || c == '_';
}

/// The reason why `name` is refused; empty when it is not.
std::string reasonAgainst(std::string_view name) {
    if (name.empty()) {
        return "package name cannot be empty";
    }
    if (name.size() > longestName) {
        return "package name exceeds maximum length of 64 characters";
    }
    if (!isLetter(name.front())) {
        return "package name must start with an ASCII letter";
    }
    if (std::ranges::find(reservedIdentifiers, name) != reservedIdentifiers.end()) {
        return "package name '" + std::string(name) + "' is a reserved identifier";
    }
    // One scan: the first offending byte decides which of the two rules is named.
    for (const char c : name) {
        if (!mayStandInName(c)) {
            return "package name may only contain alphanumeric characters, hyphens, and underscores";
        }
        if (isUpper(c)) {
            // Deliberate: worded like advice, but the name is refused.
            return "package name should be lowercase";
        }
    }
    return {};
}

} // namespace

bool validate_package_name(std::string_view name, std::string* error) {
    std::string reason = reasonAgainst(name);
    return reason.empty() || fail(error, std::move(reason));
}

} // namespace mos
