#include "platform/file_replacement.h"

namespace mos {

bool replaceFile(const std::filesystem::path& path, std::string_view content, FileAccess access,
                 std::error_code* error) {
    FileReplacement replacement(path, access);
    const bool replaced = replacement.isOpen() &&
                          replacement.write(std::as_bytes(std::span(content))) &&
                          replacement.commit();
    if (!replaced && error != nullptr) {
        *error = replacement.error();
    }
    return replaced;
}

void removeAbandonedReplacementsIn(const std::filesystem::path& directory) {
    std::error_code error;
    std::filesystem::directory_iterator entry(directory.empty() ? "." : directory, error);
    while (!error && entry != std::filesystem::directory_iterator()) {
        removeAbandonedReplacement(entry->path());
        entry.increment(error);
    }
}

} // namespace mos
