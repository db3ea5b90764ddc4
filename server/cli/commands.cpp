#include "server/cli/commands.h"

#include <sodium.h>

#include <algorithm>
#include <array>
#include <iostream>

#include "server/cli/data_option.h"
#include "server/cli/run_command.h"
#include "server/cli/serve_command.h"
#include "server/cli/store_commands.h"
#include "server/store/database.h"

namespace mos::server {
namespace {

constexpr std::array dataOnly{dataOption};
constexpr std::array userAddOptions{
    dataOption, OptionSpec{"--email", "E", "the user's e-mail address; needed"}};
constexpr std::array tokenCreateOptions{
    dataOption, OptionSpec{"--label", "TEXT", "what the token is for, shown by token list"}};
constexpr std::array tokenListOptions{dataOption,
                                      OptionSpec{"--user", "NAME", "only the tokens of this user"}};
constexpr std::array yankOptions{dataOption,
                                 OptionSpec{"--undo", "", "put the version into the lists again"}};
constexpr std::array exportOptions{
    dataOption,
    OptionSpec{"--layout", "tree|flat", "directories with index.json, or one directory; tree"}};

const std::array commands{
    Command{"serve", "", "serve a data directory over HTTP", serveOptions(), serveCommand},
    Command{"run", "-- COMMAND [ARGUMENT...]",
            "run a command with a throw-away registry of example packages", runOptions(),
            runCommand},
    Command{"user add", "NAME", "add a user; asks for a password", userAddOptions, userAddCommand},
    Command{"token create", "USER", "make a token and print it", tokenCreateOptions,
            tokenCreateCommand},
    Command{"token list", "", "list tokens by their public names", tokenListOptions,
            tokenListCommand},
    Command{"token revoke", "ID", "end a token", dataOnly, tokenRevokeCommand},
    Command{"yank", "NAME VERSION", "leave a version out of the lists", yankOptions, yankCommand},
    Command{"export", "DIR", "write everything readers get as plain files", exportOptions,
            exportCommand},
    Command{"rebuild", "", "make the public files anew from what is stored", dataOnly,
            rebuildCommand},
    Command{"check", "", "read and hash everything that is stored", dataOnly, checkCommand},
};

constexpr std::string_view statuses = R"(
Exit status: 0 done, 1 failed, 2 wrong command line, 3 check or rebuild found something wrong or the
database is damaged; run has the status of its command, or 125 without a server, 126 for what is no
program, 127 for what is not there.
)";

std::string padded(std::string_view text, std::size_t width) {
    std::string result(text);
    result.resize(std::max(width, text.size()), ' ');
    return result;
}

std::string joined(std::string_view words, std::string_view synopsis) {
    return synopsis.empty() ? std::string(words) : std::string(words) + " " + std::string(synopsis);
}

void printHelp() {
    std::cout << "mos-registry, a package registry for mos\n\nUsage: mos-registry COMMAND "
                 "[OPTION...]\n\n";
    for (const Command& command : commands) {
        std::cout << "  " << padded(joined(command.words, command.synopsis), 30) << ' '
                  << command.help << '\n';
    }
    std::cout << "\nmos-registry COMMAND --help lists the command's options.\n" << statuses;
}

void printHelpOf(const Command& command) {
    std::cout << "mos-registry " << command.words << ": " << command.help
              << "\n\nUsage: mos-registry " << joined(command.words, "[OPTION...]")
              << (command.synopsis.empty() ? "" : " ") << command.synopsis << "\n\n";
    for (const OptionSpec& option : command.options) {
        std::cout << "  " << padded(joined(option.name, option.value), 24) << ' ' << option.help
                  << '\n';
    }
    std::cout << statuses;
}

std::size_t wordCount(const Command& command) {
    return command.words.find(' ') == std::string_view::npos ? 1 : 2;
}

/// The command that the first words name.
const Command& commandOf(std::span<const std::string> words) {
    for (const Command& command : commands) {
        const std::size_t count = wordCount(command);
        if (words.size() >= count &&
            command.words == (count == 1 ? words[0] : words[0] + " " + words[1])) {
            return command;
        }
    }
    const bool isHalf = std::ranges::any_of(commands, [&](const Command& command) {
        return command.words.starts_with(words[0] + " ");
    });
    throw usageError(isHalf ? "'" + words[0] + "' needs a second word"
                            : "unknown command '" + words[0] + "'");
}

bool asksForHelp(std::span<const std::string> words) {
    const auto end = std::ranges::find(words, "--");
    return std::any_of(words.begin(), end,
                       [](const std::string& word) { return word == "--help" || word == "-h"; });
}

int dispatch(std::span<const std::string> words) {
    if (words.empty() || words[0] == "--help" || words[0] == "-h" || words[0] == "help") {
        printHelp();
        return words.empty() ? exitUsage : exitDone;
    }
    const Command& command = commandOf(words);
    const auto rest = words.subspan(wordCount(command));
    if (asksForHelp(rest)) {
        printHelpOf(command);
        return exitDone;
    }
    return command.run(Arguments(rest, command.options));
}

} // namespace

int runCommandLine(std::span<const std::string> words) {
    int status = exitFailed;
    std::string message;
    try {
        if (sodium_init() < 0) {
            throw Failure("no random numbers", exitFailed);
        }
        return dispatch(words);
    } catch (const Failure& failure) {
        status = failure.status;
        message = failure.what();
    } catch (const DamagedDatabase& error) {
        status = exitDamaged;
        message = error.what();
    } catch (const std::exception& error) {
        message = error.what();
    }
    std::cerr << "mos-registry: " << message << '\n';
    if (status == exitUsage) {
        std::cerr << "Try 'mos-registry --help'.\n";
    }
    return status;
}

} // namespace mos::server
