#include "store/tool_home.h"

#include "platform/environment.h"
#include "platform/file_system.h"

namespace mos {

std::filesystem::path toolHome() {
    if (const auto home = environmentVariable("MOSS_HOME"); home && !home->empty()) {
        return *home;
    }
    // Deliberate: USERPROFILE counts as soon as it is set, even to nothing.
    if (const auto profile = environmentVariable("USERPROFILE")) {
        return std::filesystem::path(*profile) / ".moss";
    }
    return currentDirectory() / ".moss";
}

} // namespace mos
