#include "platform/file_replacement.h"

namespace mos {

bool replaceFile(const std::filesystem::path& path, std::string_view content, FileAccess access) {
    FileReplacement replacement(path, access);
    return replacement.isOpen() && replacement.write(std::as_bytes(std::span(content))) &&
           replacement.commit();
}

} // namespace mos
