#include "resolver/locked_installation.h"

#include <filesystem>
#include <memory>
#include <optional>
#include <string>

#include "cli/console.h"
#include "cli/mos_exception.h"
#include "cli/project_manifest.h"
#include "platform/file_system.h"
#include "platform/staging_directory.h"
#include "registry/package_registry.h"
#include "resolver/lock_coverage.h"
#include "resolver/locked_installer.h"
#include "resolver/lockfile.h"
#include "resolver/lockfile_reader.h"
#include "resolver/path_screen.h"

namespace mos {
namespace {

[[noreturn]] void refuseLock(const std::string& message) {
    throw MosException(ErrorCode::DependencyConflict, message,
                       "Run 'mos install' to update moss.lock.", 4);
}

[[noreturn]] void refuseDamagedLock(const std::string& reason) {
    throw MosException(ErrorCode::ManifestParse, "Failed to read moss.lock: " + reason, "", 1);
}

Lockfile loadLock(const std::filesystem::path& path) {
    if (!pathExists(path)) {
        refuseLock("moss.lock is missing");
    }
    const auto text = readFile(path);
    if (!text) {
        refuseDamagedLock("Could not open lock file: " + path.string());
    }
    std::string reason;
    auto lockfile = readLockfile(*text, reason);
    if (!lockfile) {
        refuseDamagedLock(reason);
    }
    return *std::move(lockfile);
}

/// The lock file of the project, when it is an answer to the manifest.
Lockfile matchingLock(const std::filesystem::path& project) {
    const Manifest manifest = loadProjectManifest();
    Lockfile lockfile = loadLock(project / "moss.lock");
    if (const auto gap = gapInLock(manifest.dependencies, lockfile)) {
        refuseLock("moss.lock does not match moss.toml: " + *gap);
    }
    for (const ResolvedPackage& package : lockfile.packages) {
        screenPathPieces(package);
    }
    return lockfile;
}

/// A link in the place of the directory is replaced: what it leads to may be anything, and would be
/// emptied.
void prepareDirectory(const std::filesystem::path& packages) {
    if (entryKind(packages) == EntryKind::Link) {
        printStatus("Removing", packages.filename().string());
        removeAll(packages);
    }
    createDirectories(packages);
    StagingDirectory::removeAbandoned(packages);
}

} // namespace

void installLocked(const CommandContext& context) {
    const std::filesystem::path project = currentDirectory();
    const Lockfile lockfile = matchingLock(project);
    const std::filesystem::path packages = project / "packages";
    const std::shared_ptr<IRegistry> registry = makeRegistry();
    LockedInstaller installer(*registry, packages, context.hasFlag("offline") || isOfflineForced());
    installer.requireArchives(lockfile);
    prepareDirectory(packages);
    installer.removeOthers(lockfile);
    for (const ResolvedPackage& package : lockfile.packages) {
        installer.install(package);
    }
    printStatus("Finished", "installation of dependencies");
}

} // namespace mos
