#include <sys/wait.h>

#include <csignal>
#include <cstdlib>
#include <string_view>

#include "platform/child_process.h"

namespace mos {
namespace {

constexpr int notFoundStatus = 127; // the interpreter's own, also for one that cannot be started
constexpr int signalBase = 128;

/// `word` in single quotes, between which the interpreter takes every byte as it is.
std::string quoted(std::string_view word) {
    std::string text = "'";
    for (const char character : word) {
        if (character == '\'') {
            text.append("'\\''");
        } else {
            text.push_back(character);
        }
    }
    text.push_back('\'');
    return text;
}

int decoded(int status) {
    if (status == -1) {
        return notFoundStatus;
    }
    return WIFSIGNALED(status) ? signalBase + WTERMSIG(status) : WEXITSTATUS(status);
}

} // namespace

int runThroughInterpreter(const std::vector<std::string>& words, const std::string& /*text*/) {
    std::string commandLine;
    for (const std::string& word : words) {
        if (!commandLine.empty()) {
            commandLine.push_back(' ');
        }
        commandLine.append(quoted(word));
    }
    // Whoever started this program may have it ignore the ends of children, and a status that is
    // ignored is lost.
    std::signal(SIGCHLD, SIG_DFL);
    // The child shall find a broken pipe as programs usually do, whatever this one does about it.
    const auto ownBrokenPipe = std::signal(SIGPIPE, SIG_DFL);
    const int status = std::system(commandLine.c_str());
    std::signal(SIGPIPE, ownBrokenPipe);
    return decoded(status);
}

} // namespace mos
