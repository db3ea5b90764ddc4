#pragma once

#include "server/cli/arguments.h"

/// The commands that work on a data directory, whether a server has it open or not. All return the
/// exit status and throw Failure.
namespace mos::server {

int userAddCommand(const Arguments& arguments);
int tokenCreateCommand(const Arguments& arguments);
int tokenListCommand(const Arguments& arguments);
int tokenRevokeCommand(const Arguments& arguments);
int yankCommand(const Arguments& arguments);
int exportCommand(const Arguments& arguments);
int rebuildCommand(const Arguments& arguments);
int checkCommand(const Arguments& arguments);

} // namespace mos::server
