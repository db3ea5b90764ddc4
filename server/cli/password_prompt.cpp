#include "server/cli/password_prompt.h"

#include <termios.h>
#include <unistd.h>

#include <iostream>

#include "server/cli/arguments.h"

namespace mos::server {
namespace {

/// Keeps a terminal from showing what is typed.
class HiddenInput {
public:
    HiddenInput() {
        isTerminal = tcgetattr(STDIN_FILENO, &before) == 0;
        if (isTerminal) {
            termios hidden = before;
            hidden.c_lflag &= ~static_cast<tcflag_t>(ECHO);
            tcsetattr(STDIN_FILENO, TCSAFLUSH, &hidden);
        }
    }
    ~HiddenInput() {
        if (isTerminal) {
            tcsetattr(STDIN_FILENO, TCSAFLUSH, &before);
        }
    }
    HiddenInput(const HiddenInput&) = delete;
    HiddenInput& operator=(const HiddenInput&) = delete;

private:
    termios before{};
    bool isTerminal = false;
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
