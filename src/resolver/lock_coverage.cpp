#include "resolver/lock_coverage.h"

#include <algorithm>
#include <set>
#include <string_view>

#include "manifest/ordered_table.h"

namespace mos {
namespace {

using LockedByName = OrderedTable<const ResolvedPackage*>;

/// What is wrong with a direct dependency.
std::optional<std::string> directGap(const DependencySpec& dependency, const std::string& name,
                                     const ResolvedPackage* package) {
    if (package == nullptr) {
        return name + " is not locked";
    }
    if (!dependency.constraint.matches(package->version)) {
        return name + " " + package->version.to_string() + " does not satisfy " +
               dependency.constraint.to_string();
    }
    return std::nullopt;
}

/// What is wrong with what a locked package needs.
std::optional<std::string> transitiveGap(const ResolvedPackage& package,
                                         const LockedByName& locked) {
    const std::set<std::string> needed(package.dependencies.begin(), package.dependencies.end());
    const auto missing = std::ranges::find_if_not(
        needed, [&locked](const std::string& name) { return locked.contains(name); });
    if (missing == needed.end()) {
        return std::nullopt;
    }
    return package.name + " needs " + *missing + ", which is not locked";
}

} // namespace

std::optional<std::string> gapInLock(const DependencyTable& dependencies,
                                     const Lockfile& lockfile) {
    LockedByName locked;
    std::set<std::string> names;
    for (const ResolvedPackage& package : lockfile.packages) {
        locked.assign(package.name, &package);
        names.insert(package.name);
    }
    for (const auto& entry : dependencies) {
        names.insert(entry.key);
    }
    for (const std::string& name : names) {
        const ResolvedPackage* const* entry = locked.find(name);
        const ResolvedPackage* package = entry == nullptr ? nullptr : *entry;
        std::optional<std::string> gap;
        if (const DependencySpec* dependency = dependencies.find(name)) {
            gap = directGap(*dependency, name, package);
        }
        if (!gap && package != nullptr) {
            gap = transitiveGap(*package, locked);
        }
        if (gap) {
            return gap;
        }
    }
    return std::nullopt;
}

} // namespace mos
