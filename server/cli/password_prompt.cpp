#include "server/cli/password_prompt.h"

#include <termios.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <iostream>

#include "server/cli/arguments.h"

namespace mos::server {
namespace {

/// The terminal as it was; what a signal ends has to leave it so.
termios visible{};

/// Ends the program by the signal, after the terminal shows again what is typed.
extern "C" void showInputAndEnd(int signal) {
    tcsetattr(STDIN_FILENO, TCSANOW, &visible);
    std::signal(signal, SIG_DFL);
    std::raise(signal);
}

/// Keeps a terminal from showing what is typed.
class HiddenInput {
public:
    HiddenInput() {
        tcgetattr(STDIN_FILENO, &visible);
        for (const int signal : endingSignals) {
            if (std::signal(signal, showInputAndEnd) == SIG_IGN) {
                std::signal(signal, SIG_IGN);
            }
        }
        termios hidden = visible;
        hidden.c_lflag &= ~static_cast<tcflag_t>(ECHO);
        tcsetattr(STDIN_FILENO, TCSAFLUSH, &hidden);
    }
    ~HiddenInput() {
        tcsetattr(STDIN_FILENO, TCSAFLUSH, &visible);
        for (const int signal : endingSignals) {
            if (std::signal(signal, SIG_DFL) == SIG_IGN) {
                std::signal(signal, SIG_IGN);
            }
        }
    }
    HiddenInput(const HiddenInput&) = delete;
    HiddenInput& operator=(const HiddenInput&) = delete;

private:
    static constexpr std::array<int, 4> endingSignals{SIGINT, SIGTERM, SIGHUP, SIGQUIT};
};

std::string readLine() {
    std::string line;
    if (!std::getline(std::cin, line)) {
        throw Failure("no password was given", exitFailed);
    }
    return line;
}

std::string readHiddenLine(std::string_view prompt) {
    std::string line;
    {
        // Before the prompt: whoever answers it at once is neither shown nor ignored.
        const HiddenInput hidden;
        std::cerr << prompt << std::flush;
        line = readLine();
    }
    std::cerr << '\n';
    return line;
}

} // namespace

std::string askForNewPassword() {
    if (isatty(STDIN_FILENO) == 0) {
        std::string line = readLine();
        if (line.ends_with('\r')) {
            line.pop_back();
        }
        return line;
    }
    std::string password = readHiddenLine("Password: ");
    if (readHiddenLine("Once more: ") != password) {
        throw Failure("the two passwords differ", exitFailed);
    }
    return password;
}

} // namespace mos::server
