#include "registry/login_command.h"

#include "cli/console.h"
#include "cli/mos_exception.h"
#include "registry/remote_registry.h"
#include "store/credentials.h"

namespace mos {
namespace {

void save(const Credentials& credentials) {
    std::string error;
    if (!saveCredentials(credentials, error)) {
        throw MosException(ErrorCode::RegistryError, "Failed to save credentials: " + error, "", 1);
    }
}

/// The end of the input is an empty line.
std::string promptFor(std::string_view prompt) {
    writeOutput(prompt);
    flushOutput();
    return readInputLine().value_or(std::string());
}

void saveToken(const std::string& token, const CommandContext& context,
               const std::string& address) {
    std::string username = context.getOption("username", "");
    if (username.empty()) {
        username = "user";
    }
    save({token, username, "", address});
    printStatus("Logged in", "API token saved for @" + username + " (" + address + ")");
}

void authenticate(RemoteRegistry& registry, const CommandContext& context,
                  const std::string& address) {
    std::string username = context.getOption("username", "");
    if (username.empty()) {
        username = promptFor("Moss Package Registry (" + address + ")\nUsername or Email: ");
    }
    std::string password = context.getOption("password", "");
    if (password.empty()) {
        password = promptFor("Password: ");
    }
    if (username.empty() || password.empty()) {
        throw MosException(ErrorCode::InvalidPackageName, "Username and password cannot be empty.",
                           "", 1);
    }
    printStatus("Authenticating", "with " + address + "...");
    const LoginResult login = registry.login(username, password);
    if (!login.error.empty()) {
        throw MosException(ErrorCode::AuthError, "Login failed: " + login.error,
                           "Check your credentials or register at " + address + "/#packages", 1);
    }
    save({login.token, login.username, login.email, address});
    printStatus("Logged in", "Successfully authenticated as @" + login.username);
}

} // namespace

int loginCommand(const CommandContext& context) {
    const auto registry = makeRemoteRegistry();
    const std::string address = registry->registryBaseUrl();
    const std::string token = context.getOption("token", "");
    if (token.empty()) {
        authenticate(*registry, context, address);
    } else {
        saveToken(token, context, address);
    }
    return 0;
}

} // namespace mos
