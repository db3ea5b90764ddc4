#include "environment_variable.h"

#include <cstdlib>

namespace mos::test {

void assignEnvironmentVariable(const char* name, const std::optional<std::string>& value) {
    _putenv_s(name, value.value_or("").c_str());
}

} // namespace mos::test
