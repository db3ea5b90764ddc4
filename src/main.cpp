#include "cli/command_context.h"
#include "cli/dispatcher.h"
#include "platform/process_setup.h"

int main(int argc, char** argv) {
    mos::setUpProcess();
    return mos::dispatchCommand(mos::parseCommandLine(argc, argv));
}
