#include "registry/publish_command.h"

#include "archive/packaging.h"
#include "cli/console.h"
#include "cli/mos_exception.h"
#include "cli/project_manifest.h"
#include "platform/file_system.h"
#include "registry/package_registry.h"
#include "store/credentials.h"

namespace mos {
namespace {

std::filesystem::path packedProject(const std::filesystem::path& project,
                                    const Manifest& manifest) {
    const std::string archiveName = archiveFileName(manifest.name, manifest.version);
    std::string error;
    if (!packProject(project, archiveName, nullptr, nullptr, &error)) {
        throw MosException(ErrorCode::InvalidArchive, "Packaging failed before publish: " + error,
                           "", 1);
    }
    return project / archiveName;
}

std::string requireToken(const CommandContext& context, const IRegistry& registry) {
    std::string token = resolveToken(context.getOption("token", ""));
    if (token.empty()) {
        throw MosException(ErrorCode::AuthError, "Authentication required to publish packages.",
                           "Run 'mos login' to authenticate with " + registry.registryBaseUrl() +
                               ", or supply '--token <token>' / set MOS_TOKEN.",
                           8);
    }
    return token;
}

} // namespace

int publishCommand(const CommandContext& context) {
    const std::filesystem::path project = currentDirectory();
    const Manifest manifest = loadProjectManifest();
    const std::string version = manifest.version.to_string();
    const std::filesystem::path archive = packedProject(project, manifest);
    const auto registry = makeRegistry();
    const std::string token = requireToken(context, *registry);

    printStatus("Uploading", manifest.name + " " + version + " to " + registry->registryBaseUrl());
    std::string error;
    if (!registry->publish(archive, token, error)) {
        throw MosException(ErrorCode::RegistryError, "Failed to publish package: " + error, "", 1);
    }
    printStatus("Published", manifest.name + " v" + version + " successfully!");
    return 0;
}

} // namespace mos
