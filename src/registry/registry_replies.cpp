#include "registry/registry_replies.h"

#include <algorithm>
#include <utility>

#include "registry/json_scanner.h"
#include "store/json_string.h"

namespace mos {
namespace {

constexpr std::size_t maxQuotedBody = 299;

void appendVersion(std::string_view text, std::vector<Version>& versions) {
    if (auto version = Version::parse(text)) {
        versions.push_back(*std::move(version));
    }
}

/// `line` without blanks and carriage returns at both ends. A tab stays.
std::string_view stripLine(std::string_view line) {
    constexpr std::string_view stripped = " \r";
    const std::size_t first = line.find_first_not_of(stripped);
    if (first == std::string_view::npos) {
        return {};
    }
    return line.substr(first, line.find_last_not_of(stripped) - first + 1);
}

std::vector<Version> parseVersionLines(std::string_view body) {
    std::vector<Version> versions;
    while (!body.empty() && versions.size() < mostPieces) {
        const std::size_t length = std::min(body.find('\n'), body.size());
        appendVersion(stripLine(body.substr(0, length)), versions);
        body.remove_prefix(std::min(length + 1, body.size()));
    }
    return versions;
}

} // namespace

std::vector<Version> parseVersions(std::string_view body) {
    const std::size_t start = body.find_first_not_of(" \t\r\n");
    if (start == std::string_view::npos || body[start] != '[') {
        return parseVersionLines(body);
    }
    std::vector<Version> versions;
    for (const std::string_view text : quotedStrings(body)) {
        appendVersion(text, versions);
    }
    return versions;
}

PackageInfo parsePackageInfo(std::string_view body) {
    PackageInfo info{extractJsonString(body, "name"),
                     extractJsonString(body, "latest"),
                     extractJsonString(body, "description"),
                     extractJsonString(body, "license"),
                     {}};
    for (const std::string_view version : quotedStrings(listUnderKey(body, "versions"))) {
        info.versions.emplace_back(version);
    }
    return info;
}

std::string parseChecksum(std::string_view body) {
    std::string checksum = extractJsonString(body, "checksum");
    if (!checksum.empty() && !checksum.starts_with("sha256:")) {
        checksum.insert(0, "sha256:");
    }
    return checksum;
}

DependencyTable parseDependencies(std::string_view body) {
    DependencyTable dependencies;
    for (const std::string_view object : objects(listUnderKey(body, "dependencies"))) {
        DependencySpec spec;
        spec.name = extractJsonString(object, "name");
        std::string constraint = extractJsonString(object, "constraint");
        if (constraint.empty()) {
            constraint = "*";
        }
        spec.constraint = VersionConstraint::parse(constraint).value_or(VersionConstraint::any());
        std::string key = spec.name;
        dependencies.assign(std::move(key), std::move(spec));
    }
    return dependencies;
}

std::vector<SearchResult> parseSearchResults(std::string_view body) {
    std::vector<SearchResult> results;
    for (const std::string_view object : objects(body)) {
        results.push_back(
            {extractJsonString(object, "name"), extractJsonString(object, "description"),
             Version::parse(extractJsonString(object, "latest")).value_or(Version{})});
    }
    return results;
}

std::string describeFailure(std::string_view body, int status) {
    if (std::string reason = extractJsonString(body, "error"); !reason.empty()) {
        return reason;
    }
    if (!body.empty() && body.size() <= maxQuotedBody) {
        return std::string(body);
    }
    return "HTTP " + std::to_string(status);
}

} // namespace mos
