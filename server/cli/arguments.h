#pragma once

#include <cstdint>
#include <map>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace mos::server {

/// Ends the program with a message on standard error and an exit status.
class Failure : public std::runtime_error {
public:
    Failure(const std::string& message, int exitStatus)
        : std::runtime_error(message), status(exitStatus) {}

    int status;
};

/// The exit statuses of the program, but for those that `run` takes over from its command.
enum ExitStatus {
    exitDone = 0,
    exitFailed = 1,        ///< what was asked for could not be done
    exitUsage = 2,         ///< the command line is wrong
    exitDamaged = 3,       ///< `check` or `rebuild` found something wrong, or the database is
    exitNoServer = 125,    ///< `run` could not start its server
    exitNotRunnable = 126, ///< the command of `run` is no program
    exitNotFound = 127,    ///< the command of `run` does not exist
};

/// A failure of the command line: status 2.
[[nodiscard]] Failure usageError(const std::string& message);

/// An option of a command.
struct OptionSpec {
    std::string_view name;  ///< with its dashes
    std::string_view value; ///< what follows, as the help shows it; empty for a flag
    std::string_view help;  ///< one line
};

/// The words of a command line behind the command's own.
class Arguments {
public:
    /// Takes options out of `words` wherever they stand ("--name value" or "--name=value"); the
    /// rest is positional, and everything behind "--" is kept aside. Throws usageError for an
    /// option that is not in `specs`, and for one without its value.
    Arguments(std::span<const std::string> words, std::span<const OptionSpec> specs);

    [[nodiscard]] bool has(std::string_view option) const;
    [[nodiscard]] std::string text(std::string_view option, std::string_view fallback) const;

    /// A whole number between `least` and `most`; throws usageError for anything else.
    [[nodiscard]] std::uint64_t number(std::string_view option, std::uint64_t fallback,
                                       std::uint64_t least, std::uint64_t most) const;

    /// The positional words, which must be as many as `names` has; throws usageError.
    [[nodiscard]] std::vector<std::string> words(std::span<const std::string_view> names) const;

    /// What stands behind "--".
    [[nodiscard]] const std::vector<std::string>& behindDashes() const noexcept { return rest; }

private:
    std::map<std::string, std::string, std::less<>> options;
    std::vector<std::string> positional;
    std::vector<std::string> rest;
};

} // namespace mos::server
