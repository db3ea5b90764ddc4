#pragma once

#include <sys/types.h>

#include <map>
#include <string>
#include <vector>

#include "server/cli/signal_set.h"

namespace mos::server {

/// A program that is run to its end with an environment of its own. From the making of the object
/// on, the signals that would end this process are kept from it and from threads that begin later:
/// a terminal's go to the program anyway, SIGTERM and SIGHUP are passed on to it.
class ChildProgram {
public:
    /// The program and its arguments; a name without "/" is looked for in PATH.
    explicit ChildProgram(std::vector<std::string> command);

    void setVariable(const std::string& name, const std::string& value);
    void removeVariable(const std::string& name);

    /// Returns the exit status, or 128 and the number of the signal that ended the program. Throws
    /// Failure with the status 127 or 126 when it cannot be run.
    [[nodiscard]] int run();

private:
    [[nodiscard]] pid_t start();

    std::vector<std::string> words;
    std::map<std::string, std::string> environment;
    SignalSet signals;
};

} // namespace mos::server
