#include "resolver/update_command.h"

#include "cli/console.h"
#include "resolver/installation.h"

namespace mos {

int updateCommand(const CommandContext& context) {
    if (context.hasFlag("dry-run")) {
        printStatus("Dry-run", "Would check registry and update dependencies to latest "
                               "compatible versions.");
        return 0;
    }
    installDependencies(context, LockedVersions::Ignore);
    return 0;
}

} // namespace mos
