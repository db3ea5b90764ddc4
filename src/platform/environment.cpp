#include "platform/environment.h"

#include <cstdlib>

namespace mos {

std::optional<std::string> environmentVariable(const char* name) {
    const char* value = std::getenv(name);
    return value == nullptr ? std::nullopt : std::optional<std::string>(value);
}

} // namespace mos
