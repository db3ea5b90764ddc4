#include "toolchain/toolchain.h"

#include <algorithm>
#include <optional>
#include <utility>
#include <vector>

#include "cli/console.h"
#include "cli/mos_exception.h"
#include "manifest/manifest_loader.h"
#include "platform/child_process.h"
#include "platform/executable_path.h"
#include "platform/failure.h"
#include "platform/file_system.h"
#include "platform/resolved_path.h"
#include "platform/staging_directory.h"
#include "toolchain/compiler_command.h"
#include "toolchain/compiler_search.h"

namespace mos {
namespace {

/// Removes the directory, one package after the other, so that a run that is killed leaves none in
/// half.
void removePackages(const std::filesystem::path& packages) {
    std::vector<std::filesystem::path> entries;
    if (entryKind(packages) == EntryKind::Directory) {
        try {
            entries = entriesIn(packages);
        } catch (const std::filesystem::filesystem_error&) {
            // What cannot be listed cannot be removed, which is told below.
            entries.clear();
        }
    }
    for (const std::filesystem::path& entry : entries) {
        raiseOn(StagingDirectory::removeWhole(entry), "remove_all", packages);
    }
    removeAll(packages);
}

} // namespace

Toolchain::Toolchain(std::filesystem::path directory) : projectDir(std::move(directory)) {}

bool Toolchain::loadManifest(std::string* error) {
    if (manifestLoaded) {
        return true;
    }
    const std::filesystem::path path = projectDir / "moss.toml";
    if (!pathExists(path)) {
        return fail(error, "No moss.toml manifest found in " + projectDir.string());
    }
    std::string reason;
    std::optional<Manifest> loaded = load_manifest(path, &reason);
    if (!loaded) {
        throw MosException(ErrorCode::ManifestParse, "Failed to read moss.toml: " + reason, "", 1);
    }
    manifest = *std::move(loaded);
    manifestLoaded = true;
    return true;
}

bool Toolchain::build(bool /*release*/, bool workspace, std::string* error) {
    if (!loadManifest(error)) {
        return false;
    }
    return workspace || manifest.is_workspace ? buildMembers(error) : buildPackage(error);
}

bool Toolchain::buildMembers(std::string* error) {
    struct OpenWorkspace {
        std::filesystem::path directory;
        std::optional<std::filesystem::path> resolvedDirectory;
        std::vector<std::string> members;
        std::size_t built = 0;
    };
    // Members may be workspaces themselves. From the outermost workspace to the one whose members
    // are being built:
    std::vector<OpenWorkspace> open;
    const auto enter = [&open](const Toolchain& toolchain,
                               std::optional<std::filesystem::path> resolvedDirectory) {
        printStatus("Building", "workspace members...");
        open.push_back({toolchain.projectDir, std::move(resolvedDirectory),
                        toolchain.manifest.workspace_members});
    };

    enter(*this, resolvedPath(projectDir));
    while (!open.empty()) {
        if (open.back().built == open.back().members.size()) {
            open.pop_back();
            continue;
        }
        const std::string name = open.back().members[open.back().built++];
        printHeading("Package", name);
        Toolchain member(open.back().directory / name);
        const std::optional<std::filesystem::path> resolved = resolvedPath(member.projectDir);
        if (resolved &&
            std::ranges::find(open, resolved, &OpenWorkspace::resolvedDirectory) != open.end()) {
            return fail(error, "Workspace member '" + name + "' leads back to itself.");
        }
        if (!member.loadManifest(error)) {
            return false;
        }
        if (member.manifest.is_workspace) {
            enter(member, resolved);
        } else if (!member.buildPackage(error)) {
            return false;
        }
    }
    return true;
}

bool Toolchain::buildPackage(std::string* error) {
    std::filesystem::path entry;
    if (!findEntry(entry, error)) {
        return false;
    }
    printStatus("Compiling", manifest.name + " v" + manifest.version.to_string());
    // The compiler has no subcommand of its own for building.
    const int status = runCompiler("check", entry, {});
    return status == 0 ||
           fail(error, "Compilation failed with exit code " + std::to_string(status));
}

bool Toolchain::check(std::string* error) {
    std::filesystem::path entry;
    if (!loadManifest(error) || !findEntry(entry, error)) {
        return false;
    }
    printStatus("Checking", manifest.name);
    // Deliberate: the compiler has said what is wrong, and the report that follows stays bare.
    return runCompiler("check", entry, {}) == 0 || fail(error, "");
}

bool Toolchain::run(const std::vector<std::string>& args, std::string* error) {
    std::filesystem::path entry;
    if (!loadManifest(error) || !findEntry(entry, error)) {
        return false;
    }
    printStatus("Running", manifest.name + " (" + entry.string() + ")");
    const int status = runCompiler("run", entry, args);
    return status == 0 || fail(error, "Execution failed with exit code " + std::to_string(status));
}

bool Toolchain::clean(std::string* /*error*/) {
    const std::filesystem::path packages = projectDir / "packages";
    if (pathExists(packages)) {
        removePackages(packages);
    }
    // Deliberate: there is no build cache, whatever the line says.
    printStatus("Cleaned", "project packages and build cache.");
    return true;
}

std::filesystem::path Toolchain::findCompiler() {
    return mos::findCompiler(executablePath());
}

int Toolchain::runCompiler(std::string_view subcommand, const std::filesystem::path& file,
                           const std::vector<std::string>& extraArgs) {
    const CompilerCommand command{findCompiler(), subcommand, file, extraArgs};
    const std::string text = commandText(command);
    printDebug("Executing: " + text);
    // What the compiler prints comes after what was printed here.
    flushOutput();
    return runThroughInterpreter(commandWords(command), text);
}

bool Toolchain::findEntry(std::filesystem::path& entry, std::string* error) const {
    entry = projectDir / manifest.entry;
    return pathExists(entry) || fail(error, "Entry file does not exist: " + entry.string());
}

} // namespace mos
