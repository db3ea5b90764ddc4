#include "cli/command_context.h"
#include "cli/dispatcher.h"

int main(int argc, char** argv) {
    return mos::dispatchCommand(mos::parseCommandLine(argc, argv));
}
