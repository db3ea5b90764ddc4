#pragma once

#include <cstdlib>
#include <optional>
#include <string>

#include "platform/environment.h"

namespace mos::test {

/// Sets (or, without a value, unsets) an environment variable and puts it back when it goes.
class EnvironmentVariable {
public:
    EnvironmentVariable(const char* variableName, const std::optional<std::string>& value)
        : name(variableName), previous(environmentVariable(variableName)) {
        assign(value);
    }
    ~EnvironmentVariable() { assign(previous); }
    EnvironmentVariable(const EnvironmentVariable&) = delete;
    EnvironmentVariable& operator=(const EnvironmentVariable&) = delete;

private:
    void assign(const std::optional<std::string>& value) const {
        if (value) {
            ::setenv(name, value->c_str(), 1);
        } else {
            ::unsetenv(name);
        }
    }

    const char* name;
    std::optional<std::string> previous;
};

} // namespace mos::test
