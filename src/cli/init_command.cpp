#include "cli/init_command.h"

#include <filesystem>
#include <string>

#include "cli/console.h"
#include "cli/project_manifest.h"
#include "cli/project_template.h"
#include "manifest/package_name.h"
#include "platform/file_system.h"

namespace mos {
namespace {

/// Deliberate: a name that is not valid is replaced without a word.
std::string projectName(const CommandContext& context, const std::filesystem::path& directory) {
    std::string name = context.args.empty() ? directory.filename().string() : context.args.front();
    return validate_package_name(name, nullptr) ? name : "my-project";
}

} // namespace

int initCommand(const CommandContext& context) {
    const std::filesystem::path directory = currentDirectory();
    const std::string name = projectName(context, directory);
    if (pathExists(directory / "moss.toml")) {
        throw MosException(ErrorCode::ManifestParse,
                           "Directory already contains a moss.toml manifest.", "", 1);
    }
    saveProjectManifest(newManifest(name));
    createDirectories(directory / "src");
    const std::filesystem::path entry = directory / "src" / "main.moss";
    if (!pathExists(entry)) {
        writeProjectFile(entry, entrySource(name));
    }
    printStatus("Initialized", "Moss package '" + name + "' at " + directory.string());
    return 0;
}

} // namespace mos
