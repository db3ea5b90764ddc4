#include "cli/command_context.h"

#include <string_view>

namespace mos {
namespace {

void storeShortOption(std::string_view word, CommandContext& context) {
    if (word == "-h") {
        context.flags["help"] = true;
        return;
    }
    context.flags[std::string(word.substr(1))] = true;
}

bool canBeValue(std::string_view argument) {
    return argument.empty() || argument.front() != '-';
}

} // namespace

bool CommandContext::hasFlag(const std::string& name) const {
    return flags.contains(name) || options.contains(name);
}

std::string CommandContext::getOption(const std::string& name,
                                      const std::string& defaultValue) const {
    const auto found = options.find(name);
    return found == options.end() ? defaultValue : found->second;
}

CommandContext parseCommandLine(int argc, const char* const* argv) {
    CommandContext context;
    bool afterDashDash = false;
    for (int i = 1; i < argc; ++i) {
        const std::string_view argument = argv[i];
        if (afterDashDash) {
            context.passthroughArgs.emplace_back(argument);
        } else if (argument == "--") {
            afterDashDash = true;
        } else if (argument.starts_with("--")) {
            const std::string_view body = argument.substr(2);
            const std::size_t equals = body.find('=');
            if (equals != std::string_view::npos) {
                context.options[std::string(body.substr(0, equals))] = body.substr(equals + 1);
            } else if (i + 1 < argc && canBeValue(argv[i + 1])) {
                context.options[std::string(body)] = argv[++i];
            } else {
                context.flags[std::string(body)] = true;
            }
        } else if (argument.size() >= 2 && argument.front() == '-') {
            storeShortOption(argument, context);
        } else if (context.command.empty()) {
            context.command = argument;
        } else {
            context.args.emplace_back(argument);
        }
    }
    return context;
}

} // namespace mos
