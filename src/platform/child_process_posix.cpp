#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>

#include "platform/child_process.h"
#include "platform/open_file_limit_posix.h"

namespace mos {
namespace {

constexpr int notFoundStatus = 127; // the interpreter's own, also for one that cannot be started
constexpr int signalBase = 128;

// The interpreter gets the words as its positional parameters and runs them as they are. Quoted in
// one text they could be no longer together than the system lets a single argument be.
constexpr const char* interpreter = "/bin/sh";
constexpr const char* script = R"("$@")";

/// What this process does about signals while it waits for a child: as for std::system, an
/// interrupt from the keyboard is the child's affair, and the child's end is not to be lost.
class WaitingSignals {
public:
    WaitingSignals() {
        struct sigaction ignore {};
        ignore.sa_handler = SIG_IGN;
        ::sigaction(SIGINT, &ignore, &interrupt);
        ::sigaction(SIGQUIT, &ignore, &quit);
        struct sigaction standard {};
        standard.sa_handler = SIG_DFL;
        // Whoever started this program may have it ignore the ends of children, and a status that
        // is ignored is lost.
        ::sigaction(SIGCHLD, &standard, nullptr);
    }
    ~WaitingSignals() {
        ::sigaction(SIGINT, &interrupt, nullptr);
        ::sigaction(SIGQUIT, &quit, nullptr);
    }
    WaitingSignals(const WaitingSignals&) = delete;
    WaitingSignals& operator=(const WaitingSignals&) = delete;

    /// The signals that the child shall find as this program found them. A broken pipe and a file
    /// that is too large are two: programs usually end by them, whatever this one does about it.
    [[nodiscard]] sigset_t childDefaults() const {
        sigset_t defaults;
        sigemptyset(&defaults);
        sigaddset(&defaults, SIGPIPE);
        sigaddset(&defaults, SIGXFSZ);
        if (interrupt.sa_handler != SIG_IGN) {
            sigaddset(&defaults, SIGINT);
        }
        if (quit.sa_handler != SIG_IGN) {
            sigaddset(&defaults, SIGQUIT);
        }
        return defaults;
    }

private:
    struct sigaction interrupt {};
    struct sigaction quit {};
};

/// Starts the interpreter with `arguments`; a negative number when it cannot be started.
pid_t start(char* const* arguments, const sigset_t& defaults) {
    posix_spawnattr_t attributes;
    if (::posix_spawnattr_init(&attributes) != 0) {
        return -1;
    }
    ::posix_spawnattr_setsigdefault(&attributes, &defaults);
    ::posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGDEF);
    pid_t child = -1;
    const int failure =
        ::posix_spawn(&child, interpreter, nullptr, &attributes, arguments, environ);
    ::posix_spawnattr_destroy(&attributes);
    return failure == 0 ? child : -1;
}

int decoded(int status) {
    return WIFSIGNALED(status) ? signalBase + WTERMSIG(status) : WEXITSTATUS(status);
}

int waitFor(pid_t child) {
    int status = 0;
    while (::waitpid(child, &status, 0) < 0) {
        if (errno != EINTR) {
            return notFoundStatus;
        }
    }
    return decoded(status);
}

} // namespace

int runThroughInterpreter(const std::vector<std::string>& words, const std::string& /*text*/) {
    std::vector<std::string> texts{"sh", "-c", script, "sh"};
    texts.insert(texts.end(), words.begin(), words.end());
    std::vector<char*> arguments;
    arguments.reserve(texts.size() + 1);
    for (std::string& text : texts) {
        arguments.push_back(text.data());
    }
    arguments.push_back(nullptr);
    const WaitingSignals signals;
    restoreOpenFileLimit();
    const pid_t child = start(arguments.data(), signals.childDefaults());
    return child < 0 ? notFoundStatus : waitFor(child);
}

} // namespace mos
