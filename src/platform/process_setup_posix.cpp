#include <csignal>

#include "platform/open_file_limit_posix.h"
#include "platform/process_setup.h"

namespace mos {

void setUpProcess() noexcept {
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGXFSZ, SIG_IGN);
    raiseOpenFileLimit();
}

} // namespace mos
