#include "cli/dispatcher.h"

#include <algorithm>
#include <array>
#include <exception>
#include <string>
#include <string_view>

#include "archive/package_command.h"
#include "cli/console.h"
#include "cli/help_text.h"
#include "cli/init_command.h"
#include "cli/new_command.h"
#include "registry/info_command.h"
#include "registry/login_command.h"
#include "registry/logout_command.h"
#include "registry/publish_command.h"
#include "registry/search_command.h"
#include "registry/whoami_command.h"
#include "resolver/add_command.h"
#include "resolver/install_command.h"
#include "resolver/list_command.h"
#include "resolver/remove_command.h"
#include "resolver/tree_command.h"
#include "resolver/update_command.h"
#include "store/cache_command.h"
#include "toolchain/build_command.h"
#include "toolchain/check_command.h"
#include "toolchain/clean_command.h"
#include "toolchain/run_command.h"

namespace mos {
namespace {

/// A command word and the function that carries it out. The function returns the exit status of
/// the process and throws MosException for what it cannot do.
struct Command {
    std::string_view word;
    int (*run)(const CommandContext& context);
};

/// In the order in which they are compared.
constexpr std::array<Command, 20> allCommands{{
    {"init", initCommand},       {"new", newCommand},         {"add", addCommand},
    {"remove", removeCommand},   {"install", installCommand}, {"update", updateCommand},
    {"list", listCommand},       {"tree", treeCommand},       {"build", buildCommand},
    {"run", runCommand},         {"clean", cleanCommand},     {"check", checkCommand},
    {"package", packageCommand}, {"publish", publishCommand}, {"login", loginCommand},
    {"logout", logoutCommand},   {"whoami", whoamiCommand},   {"search", searchCommand},
    {"info", infoCommand},       {"cache", cacheCommand},
}};

void applyOutputOptions(const CommandContext& context) {
    OutputSettings& settings = outputSettings();
    if (context.hasFlag("v")) {
        settings.verbosity = 1;
    }
    if (context.hasFlag("vv")) {
        settings.verbosity = 2;
    }
    if (context.hasFlag("vvv")) {
        settings.verbosity = 3;
    }
    if (context.hasFlag("json")) {
        settings.json = true;
    }
}

bool wantsHelp(const CommandContext& context) {
    // The flag h is --h; -h is stored as help. An empty command word asks for help unless the
    // version was asked for.
    return context.command == "help" || context.hasFlag("help") || context.hasFlag("h") ||
           (context.command.empty() && !context.hasFlag("version"));
}

int runGuarded(const Command& command, const CommandContext& context) {
    try {
        return command.run(context);
    } catch (const MosException& exception) {
        printDiagnostic(exception, stderr);
        return exception.exitCode;
    } catch (const std::exception& exception) {
        printError(std::string("Unexpected error: ") + exception.what());
        return 1;
    }
}

} // namespace

int dispatchCommand(const CommandContext& context) {
    applyOutputOptions(context);
    if (wantsHelp(context)) {
        writeOutput(helpText());
        return 0;
    }
    if (context.command == "version" || context.hasFlag("version")) {
        writeOutput(versionText());
        return 0;
    }
    const auto command = std::ranges::find(allCommands, context.command, &Command::word);
    if (command == allCommands.end()) {
        printError("Unknown command '" + context.command + "'. Run 'mos help' for usage.");
        return 2;
    }
    return runGuarded(*command, context);
}

} // namespace mos
