#include "platform/staging_directory.h"

#include "platform/file_system.h"

namespace mos {

const std::filesystem::path& StagingDirectory::path() const noexcept {
    return directory;
}

std::error_code StagingDirectory::error() const noexcept {
    return creationError;
}

bool StagingDirectory::holds(const std::filesystem::path& name, std::error_code& error) const {
    error = creationError;
    if (directory.empty()) {
        return false;
    }
    bool isThere = false;
    try {
        isThere = pathExists(directory / name);
    } catch (const std::filesystem::filesystem_error& failure) {
        error = failure.code();
        return false;
    }
    // Asked last: a directory that was taken away before holds nothing.
    error = loss();
    return isThere && !error;
}

void StagingDirectory::removeContents() {
    for (const std::filesystem::path& entry : entriesIn(directory)) {
        removeAllOwned(entry);
    }
}

} // namespace mos
