#include <cstdlib>

#include "platform/child_process.h"

namespace mos {

int runThroughInterpreter(const std::vector<std::string>& /*words*/, const std::string& text) {
    // The interpreter strips one outer pair of quotes and so sees the inner ones intact.
    const std::string commandLine = "\"" + text + "\"";
    return std::system(commandLine.c_str());
}

} // namespace mos
