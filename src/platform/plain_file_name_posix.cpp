#include "platform/plain_file_name.h"

namespace mos {

bool isPlainFileName(std::string_view name) noexcept {
    // The system would take the name up to the NUL byte.
    return name.find('\0') == std::string_view::npos;
}

} // namespace mos
