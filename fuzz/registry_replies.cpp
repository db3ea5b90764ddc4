#include "registry/registry_replies.h"

#include <string>

#include "registry/json_scanner.h"
#include "store/json_string.h"
#include "targets.h"

namespace mos::fuzz {
namespace {

/// quotedStrings, said in another way.
std::vector<std::string> plainQuotedStrings(std::string_view text) {
    std::vector<std::string> found;
    bool isInside = false;
    std::string current;
    for (const char character : text) {
        if (character != '"') {
            current.push_back(character);
            continue;
        }
        if (isInside) {
            found.push_back(current);
        }
        isInside = !isInside;
        current.clear();
    }
    return found;
}

} // namespace

void registryReplies(std::string_view input) {
    const std::vector<std::string> plain = plainQuotedStrings(input);
    const std::vector<std::string_view> quoted = quotedStrings(input);
    require(std::equal(plain.begin(), plain.end(), quoted.begin(), quoted.end()),
            "every quoted string is found");
    for (const std::string_view object : objects(input)) {
        require(object.find('}') == std::string_view::npos, "an object ends at its first brace");
    }
    for (const Version& version : parseVersions(input)) {
        require(Version::parse(version.to_string()).has_value(), "a version is one");
    }
    const std::string checksum = parseChecksum(input);
    require(checksum.empty() || checksum.starts_with("sha256:"), "a checksum names its kind");
    static_cast<void>(parsePackageInfo(input));
    static_cast<void>(parseDependencies(input));
    static_cast<void>(parseSearchResults(input));
    require(!describeFailure(input, 500).empty() || input.size() < 300, "a failure has words");
}

} // namespace mos::fuzz
