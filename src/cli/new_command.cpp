#include "cli/new_command.h"

#include <filesystem>
#include <string>

#include "cli/console.h"
#include "cli/project_template.h"
#include "manifest/manifest_writer.h"
#include "manifest/package_name.h"
#include "platform/file_system.h"

namespace mos {

int newCommand(const CommandContext& context) {
    if (context.args.empty()) {
        throw MosException(ErrorCode::InvalidPackageName,
                           "Missing project name. Usage: mos new <project-name>", "", 2);
    }
    const std::string& name = context.args.front();
    std::string reason;
    if (!validate_package_name(name, &reason)) {
        // Deliberate: 6, unlike the 2 of a missing name.
        throw MosException(ErrorCode::InvalidPackageName,
                           "Invalid package name '" + name + "': " + reason, "", 6);
    }
    const std::filesystem::path project = currentDirectory() / name;
    if (pathExists(project) || entryKind(project) != EntryKind::None) {
        // Deliberate: shown as a manifest error.
        throw MosException(ErrorCode::ManifestParse, "Directory '" + name + "' already exists.", "",
                           1);
    }
    createDirectories(project / "src");
    // Deliberate: a manifest that cannot be written is not reported; the files below are.
    static_cast<void>(save_manifest(newManifest(name), project / "moss.toml"));
    writeProjectFile(project / "src" / "main.moss", entrySource(name));
    writeProjectFile(project / ".gitignore", gitignoreText());
    writeProjectFile(project / "README.md", readmeText(name));
    printStatus("Created", "binary (application) `" + name + "` package");
    return 0;
}

} // namespace mos
