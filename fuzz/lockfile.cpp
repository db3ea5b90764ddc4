#include "resolver/lockfile.h"

#include <string>

#include "targets.h"

namespace mos::fuzz {
namespace {

bool isPlain(const ResolvedPackage& package) {
    const std::string texts =
        package.name + package.version.to_string() + package.source + package.checksum;
    return package.dependencies.empty() && texts.find_first_of("\"\\\r\n") == std::string::npos;
}

} // namespace

void lockfile(std::string_view input) {
    const auto read = Lockfile::parse(input);
    if (!read) {
        return;
    }
    const std::string text = read->toString();
    for (const ResolvedPackage& package : read->packages) {
        if (!isPlain(package)) {
            return;
        }
    }
    const auto again = Lockfile::parse(text);
    require(again.has_value(), "what is written is read");
    require(again->packages.size() == read->packages.size(), "packages survive a round");
    for (std::size_t i = 0; i < read->packages.size(); ++i) {
        const ResolvedPackage& before = read->packages[i];
        const ResolvedPackage& after = again->packages[i];
        require(before.name == after.name &&
                    before.version.to_string() == after.version.to_string() &&
                    before.source == after.source && before.checksum == after.checksum,
                "an entry survives a round");
    }
    require(again->toString() == text, "the second round changes nothing");
}

} // namespace mos::fuzz
