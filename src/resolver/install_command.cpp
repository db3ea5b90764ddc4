#include "resolver/install_command.h"

#include "resolver/installation.h"
#include "resolver/locked_installation.h"

namespace mos {

int installCommand(const CommandContext& context) {
    if (context.hasFlag("locked")) {
        installLocked(context);
    } else {
        installDependencies(context, LockedVersions::Keep);
    }
    return 0;
}

} // namespace mos
