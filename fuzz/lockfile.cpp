#include "resolver/lockfile.h"

#include <algorithm>
#include <string>

#include "resolver/lock_coverage.h"
#include "resolver/lockfile_reader.h"
#include "targets.h"

namespace mos::fuzz {
namespace {

bool isPlain(const ResolvedPackage& package) {
    const std::string texts =
        package.name + package.version.to_string() + package.source + package.checksum;
    return package.dependencies.empty() && texts.find_first_of("\"\\\r\n") == std::string::npos;
}

/// The same with its list of dependencies.
bool isPlainWithList(const ResolvedPackage& package) {
    std::string names;
    for (const std::string& name : package.dependencies) {
        names += name;
    }
    ResolvedPackage alone = package;
    alone.dependencies.clear();
    return isPlain(alone) && names.find_first_of("\"\\\r\n") == std::string::npos;
}

/// What the reader that takes a file at its word makes of the input.
void readAtItsWord(std::string_view input) {
    std::string error;
    const auto read = readLockfile(input, error);
    require(read.has_value() == error.empty(), "a lock file or a message, never both");
    if (!read || !std::ranges::all_of(read->packages, isPlainWithList)) {
        return;
    }
    const std::string text = read->toString();
    const auto again = readLockfile(text, error);
    require(again.has_value(), "what is written is read at its word");
    require(again->toString() == text, "lists survive a round");
    require(gapInLock({}, *again) == gapInLock({}, *read), "what is missing stays missing");
}

} // namespace

void lockfile(std::string_view input) {
    readAtItsWord(input);
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
