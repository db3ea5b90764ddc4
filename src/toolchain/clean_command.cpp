#include "toolchain/clean_command.h"

#include <string>

#include "platform/file_system.h"
#include "toolchain/toolchain.h"

namespace mos {

int cleanCommand(const CommandContext& /*context*/) {
    std::string error;
    Toolchain(currentDirectory()).clean(&error);
    return 0;
}

} // namespace mos
