#include "resolver/resolver.h"

#include <string>
#include <utility>

#include "cli/mos_exception.h"
#include "resolver/last_attempt.h"
#include "resolver/locked_package.h"
#include "resolver/package_catalog.h"
#include "resolver/version_search.h"

namespace mos {
namespace {

std::string lockedSource(const ResolvedPackage& locked, const CatalogMetadata& metadata) {
    const bool local = locked.source.starts_with("local+");
    return local && !metadata.source.empty() ? metadata.source : locked.source;
}

/// A checksum with "mock" in it is a placeholder until a real one is known.
std::string lockedChecksum(const ResolvedPackage& locked, const CatalogMetadata& metadata) {
    const bool placeholder = locked.checksum.find("mock") != std::string::npos;
    if (placeholder && !metadata.checksum.empty()) {
        return metadata.checksum;
    }
    return locked.checksum.empty() ? metadata.checksum : locked.checksum;
}

/// The locked versions of direct dependencies. Deliberate: what they require is not looked at, so a
/// package that only they need is not part of the result.
LockedPackages packagesKept(PackageCatalog& catalog, const Manifest& manifest,
                            const Lockfile& lockfile) {
    LockedPackages kept;
    for (const ResolvedPackage& locked : lockfile.packages) {
        const DependencySpec* spec = manifest.dependencies.find(locked.name);
        if (spec == nullptr || !spec->constraint.matches(locked.version)) {
            continue;
        }
        CatalogPackage& package = catalog.package(locked.name);
        const CatalogMetadata* metadata = catalog.metadataOfLocked(package, locked.version);
        if (metadata != nullptr) {
            kept.assign(locked.name,
                        {&package, locked.version, lockedSource(locked, *metadata),
                         lockedChecksum(locked, *metadata), metadata, &spec->constraint});
        }
    }
    return kept;
}

ResolvedPackage resolvedPackage(const std::string& name, const Version& version,
                                const std::string& source, const std::string& checksum,
                                const CatalogMetadata& metadata) {
    ResolvedPackage resolved{name, version, source, checksum, {}, false};
    resolved.dependencies.reserve(metadata.demands.size());
    for (const Demand* demand : metadata.demands) {
        resolved.dependencies.push_back(demand->requirement.package.name);
    }
    return resolved;
}

Resolution resolutionOf(const Manifest& manifest, const std::string& rootName,
                        const LockedPackages& locked, const PartialAssignment& selections) {
    Resolution result;
    result.root = rootName;
    for (const auto& entry : manifest.dependencies) {
        result.rootDependencies.push_back(entry.key);
    }
    result.packages.reserve(locked.size() + selections.depth() + 1);
    for (const auto& [name, package] : locked) {
        result.packages.assign(name, resolvedPackage(name, package.version, package.source,
                                                     package.checksum, *package.metadata));
    }
    for (std::size_t level = 1; level <= selections.depth(); ++level) {
        const CatalogPackage& package = selections.packageAt(level);
        const CatalogMetadata& metadata = selections.metadataAt(level);
        result.packages.assign(package.name,
                               resolvedPackage(package.name, selections.versionOf(package),
                                               metadata.source, metadata.checksum, metadata));
    }
    ResolvedPackage root;
    root.name = rootName;
    root.version = manifest.version;
    root.dependencies = result.rootDependencies;
    root.isRoot = true;
    result.packages.assign(rootName, std::move(root));
    return result;
}

} // namespace

Resolution Resolver::resolve(IPackageSource& source, const Manifest& manifest,
                             const Lockfile* lockfile, bool useLockfile) {
    const std::string rootName = manifest.name.empty() ? "project" : manifest.name;
    PackageCatalog catalog(source);
    LockedPackages locked;
    if (useLockfile && lockfile != nullptr) {
        locked = packagesKept(catalog, manifest, *lockfile);
    }
    VersionSearch search(catalog, rootName, manifest.dependencies, locked);
    if (!search.run()) {
        throw MosException(ErrorCode::DependencyConflict,
                           lastFailure(catalog, rootName, manifest.dependencies, locked),
                           "check your dependency constraints in moss.toml", 4);
    }
    return resolutionOf(manifest, rootName, locked, search.selections());
}

} // namespace mos
