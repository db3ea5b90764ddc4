#include "archive/package_command.h"

#include <string>
#include <vector>

#include "archive/packaging.h"
#include "cli/console.h"
#include "cli/mos_exception.h"
#include "cli/project_manifest.h"
#include "platform/file_system.h"

namespace mos {
namespace {

void printPackage(const std::vector<std::string>& files, const std::string& archiveName,
                  const std::string& checksum) {
    std::string text = "\nFiles:\n";
    for (const std::string& file : files) {
        text += "  " + file + "\n";
    }
    text += "\nCreated:\n  " + archiveName + "\n\nSHA-256:\n  " + checksum + "\n";
    writeOutput(text);
}

} // namespace

int packageCommand(const CommandContext& /*context*/) {
    const Manifest manifest = loadProjectManifest();
    const std::string archiveName = archiveFileName(manifest.name, manifest.version);
    printStatus("Packaging", manifest.name + " " + manifest.version.to_string() + "...");
    std::string checksum;
    std::vector<std::string> files;
    std::string error;
    if (!packProject(currentDirectory(), archiveName, &checksum, &files, &error)) {
        throw MosException(ErrorCode::InvalidArchive, "Failed to package project: " + error, "", 1);
    }
    printPackage(files, archiveName, checksum);
    return 0;
}

} // namespace mos
