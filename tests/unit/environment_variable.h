#pragma once

#include <optional>
#include <string>

#include "platform/environment.h"

namespace mos::test {

/// Sets (or, without a value, unsets) an environment variable of this process. On Windows one set
/// to nothing counts as not set.
void assignEnvironmentVariable(const char* name, const std::optional<std::string>& value);

/// Sets (or, without a value, unsets) an environment variable and puts it back when it goes.
class EnvironmentVariable {
public:
    EnvironmentVariable(const char* variableName, const std::optional<std::string>& value)
        : name(variableName), previous(environmentVariable(variableName)) {
        assignEnvironmentVariable(name, value);
    }
    ~EnvironmentVariable() { assignEnvironmentVariable(name, previous); }
    EnvironmentVariable(const EnvironmentVariable&) = delete;
    EnvironmentVariable& operator=(const EnvironmentVariable&) = delete;

private:
    const char* name;
    std::optional<std::string> previous;
};

} // namespace mos::test
