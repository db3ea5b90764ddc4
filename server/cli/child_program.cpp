#include "server/cli/child_program.h"

#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <system_error>
#include <utility>

#include "server/cli/arguments.h"
#include "server/cli/noted_limit.h"

namespace mos::server {
namespace {

std::vector<char*> pointersTo(std::vector<std::string>& texts) {
    std::vector<char*> pointers;
    pointers.reserve(texts.size() + 1);
    for (std::string& text : texts) {
        pointers.push_back(text.data());
    }
    pointers.push_back(nullptr);
    return pointers;
}

/// The program begins as if it were started from a shell, whatever this process ignores or blocks.
class SpawnAttributes {
public:
    SpawnAttributes() {
        sigset_t none{};
        sigemptyset(&none);
        sigset_t usual{};
        sigemptyset(&usual);
        sigaddset(&usual, SIGPIPE);
        sigaddset(&usual, SIGXFSZ);
        posix_spawnattr_init(&attributes);
        posix_spawnattr_setsigmask(&attributes, &none);
        posix_spawnattr_setsigdefault(&attributes, &usual);
        posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
    }
    ~SpawnAttributes() { posix_spawnattr_destroy(&attributes); }
    SpawnAttributes(const SpawnAttributes&) = delete;
    SpawnAttributes& operator=(const SpawnAttributes&) = delete;

    [[nodiscard]] const posix_spawnattr_t* get() const noexcept { return &attributes; }

private:
    posix_spawnattr_t attributes{};
};

int statusOf(int waited) {
    return WIFSIGNALED(waited) ? 128 + WTERMSIG(waited) : WEXITSTATUS(waited);
}

} // namespace

ChildProgram::ChildProgram(std::vector<std::string> command)
    : words(std::move(command)), signals({SIGCHLD, SIGTERM, SIGHUP, SIGINT, SIGQUIT}) {
    // Whoever started this program may have it ignore the ends of children, and a status that is
    // ignored is lost.
    std::signal(SIGCHLD, SIG_DFL);
    for (char** variable = environ; *variable != nullptr; ++variable) {
        const std::string text = *variable;
        const std::size_t equals = text.find('=');
        if (equals != std::string::npos) {
            environment[text.substr(0, equals)] = text.substr(equals + 1);
        }
    }
}

void ChildProgram::setVariable(const std::string& name, const std::string& value) {
    environment[name] = value;
}

void ChildProgram::removeVariable(const std::string& name) {
    environment.erase(name);
}

pid_t ChildProgram::start() {
    std::vector<std::string> variables;
    variables.reserve(environment.size());
    for (const auto& [name, value] : environment) {
        variables.push_back(std::string(name).append("=").append(value));
    }
    const SpawnAttributes attributes;
    const NotedOpenFileLimit limit;
    pid_t child = 0;
    const int error = posix_spawnp(&child, words[0].c_str(), nullptr, attributes.get(),
                                   pointersTo(words).data(), pointersTo(variables).data());
    if (error != 0) {
        throw Failure("cannot run " + words[0] + ": " + std::generic_category().message(error),
                      error == ENOENT ? exitNotFound : exitNotRunnable);
    }
    return child;
}

int ChildProgram::run() {
    // Whoever wanted to end this program before the command began does not want the command.
    if (const int signal = signals.pending(); signal != 0) {
        return 128 + signal;
    }
    const pid_t child = start();
    int waited = 0;
    while (waitpid(child, &waited, WNOHANG) == 0) {
        const int signal = signals.wait();
        if (signal == SIGTERM || signal == SIGHUP) {
            kill(child, signal);
        }
    }
    return statusOf(waited);
}

} // namespace mos::server
