#include "registry/whoami_command.h"

#include "cli/console.h"
#include "registry/default_registry.h"
#include "store/credentials.h"

namespace mos {
namespace {

constexpr std::size_t tokenPrefixLength = 12;

std::string loginText(const Credentials& login) {
    std::string text = "Logged in as:  @" + login.username + "\n";
    if (!login.email.empty()) {
        text.append("Email:         ").append(login.email).append("\n");
    }
    text.append("Registry:      ")
        .append(login.registryUrl.empty() ? defaultRegistryUrl() : login.registryUrl)
        .append("\n");
    text.append("Token prefix:  ").append(login.token, 0, tokenPrefixLength).append("...\n");
    return text;
}

} // namespace

int whoamiCommand(const CommandContext&) {
    const auto login = loadCredentials();
    if (!login || login->token.empty()) {
        writeOutput("Not currently logged in. Run 'mos login' to authenticate.\n");
    } else {
        writeOutput(loginText(*login));
    }
    return 0;
}

} // namespace mos
