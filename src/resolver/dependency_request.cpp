#include "resolver/dependency_request.h"

namespace mos {

DependencyRequest parseDependencyRequest(std::string_view argument) {
    const std::size_t at = argument.find('@');
    if (at == std::string_view::npos) {
        return {std::string(argument), {}};
    }
    return {std::string(argument.substr(0, at)), std::string(argument.substr(at + 1))};
}

} // namespace mos
