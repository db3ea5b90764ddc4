#pragma once

#include <exception>
#include <string>
#include <utility>

#include "cli/error_code.h"

namespace mos {

/// The one exception of the program: carries an error from a command to the dispatcher, which
/// prints it as a block and ends the process with `exitCode`.
class MosException : public std::exception {
public:
    /// `message` has no trailing line feed; `help` may be empty.
    MosException(ErrorCode errorCode, std::string messageText, std::string helpText, int exitStatus)
        : code(errorCode),
          message(std::move(messageText)),
          help(std::move(helpText)),
          exitCode(exitStatus) {}

    /// The message, without code, title or help.
    [[nodiscard]] const char* what() const noexcept override { return message.c_str(); }

    ErrorCode code;
    std::string message;
    std::string help;
    int exitCode;
};

} // namespace mos
