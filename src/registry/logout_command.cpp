#include "registry/logout_command.h"

#include "cli/console.h"
#include "cli/mos_exception.h"
#include "store/credentials.h"

namespace mos {

int logoutCommand(const CommandContext&) {
    std::string error;
    if (!removeCredentials(error)) {
        throw MosException(ErrorCode::RegistryError, "Failed to clear credentials: " + error, "",
                           1);
    }
    printStatus("Logged out", "Saved credentials cleared.");
    return 0;
}

} // namespace mos
