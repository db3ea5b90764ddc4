#include "platform/file_replacement.h"

#include <vector>

#include "platform/file_system.h"

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
    std::vector<std::filesystem::path> entries;
    try {
        entries = entriesIn(directory.empty() ? "." : directory);
    } catch (const std::filesystem::filesystem_error&) {
        // Whoever writes there will say what is wrong.
        return;
    }
    for (const std::filesystem::path& entry : entries) {
        removeAbandonedReplacement(entry);
    }
}

} // namespace mos
