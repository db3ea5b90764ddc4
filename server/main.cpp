#include <sys/stat.h>

#include <string>
#include <vector>

#include "platform/process_setup.h"
#include "server/cli/commands.h"
#include "server/cli/noted_limit.h"

int main(int argc, char** argv) {
    mos::server::noteOpenFileLimit();
    mos::setUpProcess();
    // Whatever the mask of whoever starts it: nobody else writes what the registry trusts.
    umask(umask(0) | S_IWGRP | S_IWOTH);
    return mos::server::runCommandLine(std::vector<std::string>(argv + 1, argv + argc));
}
