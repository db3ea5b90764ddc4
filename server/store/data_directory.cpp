#include "server/store/data_directory.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include "server/store/schema.h"
#include "server/store/stored_file.h"

namespace mos::server {

namespace {

void createDirectory(const std::filesystem::path& directory) {
    std::error_code error;
    std::filesystem::create_directories(directory, error);
    if (error) {
        throw StoreError("cannot create " + directory.string() + ": " + error.message());
    }
}

/// The directories of all archives are there and flushed before the first publish, which then has
/// one directory to flush.
void createArchiveDirectories(const std::filesystem::path& archives) {
    constexpr std::string_view digits = "0123456789abcdef";
    for (const char first : digits) {
        for (const char second : digits) {
            createDirectory(archives / std::string{first, second});
        }
    }
    flushDirectory(archives);
}

bool holdsArchives(const DataDirectory& data) {
    std::error_code ignored;
    for (const auto& entry :
         std::filesystem::recursive_directory_iterator(data.archives(), ignored)) {
        if (!entry.is_directory(ignored)) {
            return true;
        }
    }
    return false;
}

/// A database that is lost must not be taken for one that is new: a new one has no packages, and
/// everything else would be brought into line with it.
void refuseLostDatabase(const DataDirectory& data) {
    std::error_code error;
    const auto size = std::filesystem::file_size(data.database(), error);
    if ((error == std::errc::no_such_file_or_directory || (!error && size == 0)) &&
        holdsArchives(data)) {
        throw StoreError("the database " + data.database().string() +
                         " is missing or empty, and there are archives: put it back from a copy");
    }
}

} // namespace

void prepareDataDirectory(const DataDirectory& data) {
    refuseLostDatabase(data);
    createDirectory(data.archives());
    createArchiveDirectories(data.archives());
    createDirectory(data.incoming());
    createDirectory(data.publicFiles());
    flushDirectory(data.root);
    prepareDatabase(data.database());
}

ServingLock::ServingLock(const DataDirectory& data)
    : descriptor(open(data.lock().c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600)) {
    if (descriptor < 0) {
        throw StoreError("cannot open " + data.lock().string());
    }
    if (flock(descriptor, LOCK_EX | LOCK_NB) != 0) {
        close(descriptor);
        throw StoreError("another mos-registry serves " + data.root.string());
    }
}

ServingLock::~ServingLock() {
    close(descriptor);
}

void sweepIncoming(const DataDirectory& data) {
    std::error_code ignored;
    for (const auto& entry : std::filesystem::directory_iterator(data.incoming(), ignored)) {
        std::filesystem::remove(entry.path(), ignored);
    }
}

} // namespace mos::server
