#include "resolver/list_command.h"

#include "cli/console.h"
#include "cli/project_manifest.h"
#include "resolver/dependency_list.h"

namespace mos {

int listCommand(const CommandContext& context) {
    const Manifest manifest = loadProjectManifest();
    writeOutput(context.hasFlag("json") ? dependencyListJson(manifest.dependencies)
                                        : dependencyListText(manifest.dependencies));
    return 0;
}

} // namespace mos
