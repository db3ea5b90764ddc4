#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>

#include "platform/open_file_limit_posix.h"
#include "platform/process_setup.h"

namespace mos {
namespace {

/// Whoever starts the program with a standard stream closed would have its number given to the next
/// file or connection that is opened, and the messages written there. What takes the number instead
/// can be neither read nor written, like a stream that is closed.
void occupyStandardStreams() noexcept {
    for (int stream = STDIN_FILENO; stream <= STDERR_FILENO; ++stream) {
        if (::fcntl(stream, F_GETFD) == -1 && errno == EBADF) {
            // The lowest free number: those below are taken.
            static_cast<void>(::open("/", O_PATH));
        }
    }
}

} // namespace

void setUpProcess() noexcept {
    occupyStandardStreams();
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGXFSZ, SIG_IGN);
    raiseOpenFileLimit();
}

} // namespace mos
