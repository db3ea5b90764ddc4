#include "resolver/installation.h"

#include <filesystem>
#include <memory>
#include <optional>
#include <string>

#include "cli/console.h"
#include "cli/project_manifest.h"
#include "platform/file_system.h"
#include "platform/staging_directory.h"
#include "registry/package_registry.h"
#include "resolver/lockfile.h"
#include "resolver/package_installer.h"
#include "resolver/path_screen.h"
#include "resolver/resolver.h"

namespace mos {
namespace {

/// None of the packages may leave its place.
void screenPathPieces(const Resolution& resolution) {
    for (const auto& entry : resolution.packages) {
        if (!entry.value.isRoot) {
            screenPathPieces(entry.value);
        }
    }
}

} // namespace

void installDependencies(const CommandContext& context, LockedVersions lockedVersions) {
    const Manifest manifest = loadProjectManifest();
    const std::filesystem::path project = currentDirectory();
    const std::filesystem::path lockPath = project / "moss.lock";
    const std::optional<Lockfile> lockfile = Lockfile::load(lockPath);

    const std::shared_ptr<IRegistry> registry = makeRegistry();
    const Resolution resolution =
        Resolver::resolve(*registry, manifest, lockfile ? &*lockfile : nullptr,
                          lockedVersions == LockedVersions::Keep);
    screenPathPieces(resolution);
    // Deliberate: a lock file that cannot be written does not stop the installation.
    static_cast<void>(Lockfile::fromResolution(resolution).save(lockPath));

    const std::filesystem::path packages = project / "packages";
    createDirectories(packages);
    StagingDirectory::removeAbandoned(packages);
    PackageInstaller installer(*registry, packages, context.hasFlag("offline"));
    for (const auto& entry : resolution.packages) {
        if (!entry.value.isRoot) {
            installer.install(entry.value);
        }
    }
    printStatus("Finished", "installation of dependencies");
}

} // namespace mos
