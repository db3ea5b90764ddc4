#include <csignal>

#include "platform/process_setup.h"

namespace mos {

void setUpProcess() noexcept {
    std::signal(SIGPIPE, SIG_IGN);
}

} // namespace mos
