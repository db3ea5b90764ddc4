#include "platform/owner_rights_posix.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <system_error>
#include <utility>
#include <vector>

namespace mos {

bool letOwnerIn(const std::filesystem::path& directory) {
    struct stat status {};
    if (::lstat(directory.c_str(), &status) != 0 || !S_ISDIR(status.st_mode)) {
        return false;
    }
    const mode_t mode = (status.st_mode & 07777U) | S_IRWXU;
    return ::fchmodat(AT_FDCWD, directory.c_str(), mode, AT_SYMLINK_NOFOLLOW) == 0;
}

void letOwnerInBelow(const std::filesystem::path& directory) {
    std::vector<std::filesystem::path> pending{directory};
    while (!pending.empty()) {
        const std::filesystem::path current = std::move(pending.back());
        pending.pop_back();
        letOwnerIn(current);
        std::error_code error;
        std::filesystem::directory_iterator entry(current, error);
        while (!error && entry != std::filesystem::directory_iterator()) {
            std::error_code ignored;
            if (entry->symlink_status(ignored).type() == std::filesystem::file_type::directory) {
                pending.push_back(entry->path());
            }
            entry.increment(error);
        }
    }
}

} // namespace mos
