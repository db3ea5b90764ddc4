#include "server/log/error_log.h"

#include <unistd.h>

#include <string>

#include "server/store/clock.h"

namespace mos::server {

void reportError(std::string_view text) noexcept {
    try {
        const std::string line = preciseTimestamp() + " mos-registry: " + std::string(text) + "\n";
        // Nobody can be told of a line that cannot be written.
        [[maybe_unused]] const ssize_t ignored = write(STDERR_FILENO, line.data(), line.size());
    } catch (...) {
        return;
    }
}

} // namespace mos::server
