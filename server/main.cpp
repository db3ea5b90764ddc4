#include <string>
#include <vector>

#include "platform/process_setup.h"
#include "server/cli/commands.h"

int main(int argc, char** argv) {
    mos::setUpProcess();
    return mos::server::runCommandLine(std::vector<std::string>(argv + 1, argv + argc));
}
