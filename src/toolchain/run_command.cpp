#include "toolchain/run_command.h"

#include <string>

#include "cli/mos_exception.h"
#include "platform/file_system.h"
#include "toolchain/toolchain.h"

namespace mos {

int runCommand(const CommandContext& context) {
    Toolchain toolchain(currentDirectory());
    std::string error;
    if (!toolchain.run(context.passthroughArgs, &error)) {
        throw MosException(ErrorCode::BuildFailed, error, "", 1);
    }
    return 0;
}

} // namespace mos
