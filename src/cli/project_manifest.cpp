#include "cli/project_manifest.h"

#include <utility>

#include "cli/mos_exception.h"
#include "manifest/manifest_loader.h"
#include "manifest/manifest_writer.h"
#include "platform/file_system.h"

namespace mos {

Manifest loadProjectManifest() {
    std::string error;
    auto manifest = load_manifest(currentDirectory() / "moss.toml", &error);
    if (!manifest) {
        throw MosException(ErrorCode::ManifestParse, "Failed to read moss.toml: " + error, "", 1);
    }
    return *std::move(manifest);
}

void saveProjectManifest(const Manifest& manifest) {
    if (!save_manifest(manifest, currentDirectory() / "moss.toml")) {
        throw MosException(ErrorCode::ManifestParse, "Failed to write moss.toml.", "", 1);
    }
}

} // namespace mos
