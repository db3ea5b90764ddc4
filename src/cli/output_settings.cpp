#include "cli/output_settings.h"

namespace mos {

OutputSettings& outputSettings() noexcept {
    static OutputSettings settings;
    return settings;
}

} // namespace mos
