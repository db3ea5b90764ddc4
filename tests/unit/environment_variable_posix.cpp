#include "environment_variable.h"

#include <cstdlib>

namespace mos::test {

void assignEnvironmentVariable(const char* name, const std::optional<std::string>& value) {
    if (value) {
        ::setenv(name, value->c_str(), 1);
    } else {
        ::unsetenv(name);
    }
}

} // namespace mos::test
