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

} // namespace

void prepareDataDirectory(const DataDirectory& data) {
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
