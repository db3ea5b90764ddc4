#include "resolver/remove_command.h"

#include <string>

#include "cli/console.h"
#include "cli/project_manifest.h"
#include "platform/file_system.h"
#include "platform/staging_directory.h"
#include "resolver/path_piece.h"

namespace mos {

int removeCommand(const CommandContext& context) {
    if (context.args.empty()) {
        throw MosException(ErrorCode::InvalidPackageName,
                           "Missing package name to remove. Usage: mos remove <package>", "", 2);
    }
    const std::string& name = context.args.front();
    Manifest manifest = loadProjectManifest();
    const bool removed = manifest.dependencies.erase(name) ||
                         manifest.dev_dependencies.erase(name) ||
                         manifest.build_dependencies.erase(name);
    if (!removed) {
        throw MosException(ErrorCode::DependencyNotFound,
                           "Dependency '" + name + "' is not listed in moss.toml.", "", 1);
    }
    saveProjectManifest(manifest);
    printStatus("Removing", name + " from dependencies");
    // A name that is no single path piece was never installed: nothing outside may go.
    if (isSafePathPiece(name)) {
        const std::filesystem::path package = currentDirectory() / "packages" / name;
        raiseOn(StagingDirectory::removeWhole(package), "remove_all", package);
    }
    return 0;
}

} // namespace mos
