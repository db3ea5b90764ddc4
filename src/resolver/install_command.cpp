#include "resolver/install_command.h"

#include "resolver/installation.h"

namespace mos {

int installCommand(const CommandContext& context) {
    installDependencies(context, LockedVersions::Keep);
    return 0;
}

} // namespace mos
