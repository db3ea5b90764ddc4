#include "platform/access_rights_posix.h"

#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <vector>

namespace mos {
namespace {

// What acl(5) keeps its list in. The group's bits of the mode of a file that has one are no rights
// of the group but the most that the list may give.
constexpr const char* accessList = "system.posix_acl_access";

constexpr mode_t everyModeBit = 07777;

/// Whether an error says that this user may not change such rights, that his space of users
/// (user_namespaces(7)) does not know the owner, or that the file system has no such rights.
bool saysRefused(int error) {
    return error == EPERM || error == EINVAL || error == ENOTSUP || error == ENOSYS;
}

/// `mode` for a file whose group has no other rights than everybody.
mode_t withoutGroup(mode_t mode) {
    return (mode & ~static_cast<mode_t>(S_IRWXG)) | (mode & S_IRWXO) << 3U;
}

/// Gives `file` the access control list of `model`, or none when that has none: what it has may
/// come from its directory.
bool copyAccessList(const FileDescriptor& model, const FileDescriptor& file) {
    const ssize_t size = ::fgetxattr(model.get(), accessList, nullptr, 0);
    if (size <= 0) {
        return ::fremovexattr(file.get(), accessList) == 0 || errno == ENODATA || errno == ENOTSUP;
    }
    std::vector<std::byte> list(static_cast<std::size_t>(size));
    return ::fgetxattr(model.get(), accessList, list.data(), list.size()) == size &&
           ::fsetxattr(file.get(), accessList, list.data(), list.size(), 0) == 0;
}

} // namespace

bool copyAccessRights(const FileDescriptor& model, const FileDescriptor& file, FileAccess access) {
    struct stat wanted {};
    struct stat status {};
    if (::fstat(model.get(), &wanted) != 0 || ::fstat(file.get(), &status) != 0) {
        return false;
    }
    mode_t mode = wanted.st_mode & everyModeBit;
    const bool isSame = status.st_uid == wanted.st_uid && status.st_gid == wanted.st_gid;
    if (!isSame && ::fchown(file.get(), wanted.st_uid, wanted.st_gid) != 0) {
        if (!saysRefused(errno)) {
            return false;
        }
        const bool keepsGroup = status.st_gid == wanted.st_gid ||
                                ::fchown(file.get(), status.st_uid, wanted.st_gid) == 0;
        mode = (keepsGroup ? mode : withoutGroup(mode)) | S_IRUSR | S_IWUSR;
    }
    if (access == FileAccess::OwnerOnly) {
        return true;
    }
    mode = copyAccessList(model, file) ? mode : mode & ~static_cast<mode_t>(S_IRWXG);
    return ::fchmod(file.get(), mode) == 0 || saysRefused(errno);
}

bool makePrivate(const FileDescriptor& file) {
    struct stat status {};
    if (::fstat(file.get(), &status) != 0) {
        return false;
    }
    return (S_ISREG(status.st_mode) && ::fchmod(file.get(), S_IRUSR | S_IWUSR) == 0) ||
           status.st_uid == ::geteuid();
}

} // namespace mos
