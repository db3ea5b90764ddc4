#include "resolver/tree_command.h"

#include <memory>
#include <optional>

#include "cli/console.h"
#include "cli/project_manifest.h"
#include "platform/file_system.h"
#include "registry/package_registry.h"
#include "resolver/lockfile.h"
#include "resolver/resolution_json.h"
#include "resolver/resolver.h"
#include "resolver/tree_printer.h"

namespace mos {

int treeCommand(const CommandContext& context) {
    const Manifest manifest = loadProjectManifest();
    const std::optional<Lockfile> lockfile = Lockfile::load(currentDirectory() / "moss.lock");
    const std::shared_ptr<IRegistry> registry = makeRegistry();
    const Resolution resolution =
        Resolver::resolve(*registry, manifest, lockfile ? &*lockfile : nullptr, true);
    if (context.hasFlag("json")) {
        writeOutput(resolutionToJson(resolution) + "\n");
    } else {
        printTree(resolution, [](std::string_view text) {
            writeOutput(text);
            return outputIsTaken();
        });
    }
    return 0;
}

} // namespace mos
