#include <csignal>

#include "platform/process_setup.h"

namespace mos {

void setUpProcess() noexcept {
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGXFSZ, SIG_IGN);
}

} // namespace mos
