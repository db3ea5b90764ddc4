#include "platform/file_name_key.h"

namespace mos {

std::filesystem::path::string_type fileNameKey(const std::filesystem::path& name) {
    return name.native();
}

} // namespace mos
