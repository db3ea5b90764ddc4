#include "platform/staging_directory.h"

#include "platform/file_system.h"

namespace mos {

const std::filesystem::path& StagingDirectory::path() const noexcept {
    return directory;
}

std::error_code StagingDirectory::error() const noexcept {
    return creationError;
}

void StagingDirectory::removeContents() {
    for (const std::filesystem::path& entry : entriesIn(directory)) {
        removeAllOwned(entry);
    }
}

} // namespace mos
