#include "platform/access_rights_posix.h"

#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <optional>
#include <utility>
#include <vector>

namespace mos {
namespace {

// What acl(5) keeps its list in. The group's bits of the mode of a file that has one are no rights
// of the group but the most that the list may give.
constexpr const char* accessList = "system.posix_acl_access";

constexpr mode_t everyModeBit = 07777;

/// Whether an error says that this user may not give files away, that his space of users
/// (user_namespaces(7)) does not know the owner, or that the file system has none.
bool saysRefused(int error) {
    return error == EPERM || error == EINVAL || error == ENOTSUP || error == ENOSYS;
}

/// `mode` for a file that could not be given the group it had: its members are others now, and
/// those of its group were.
mode_t withoutGroup(mode_t mode) {
    const mode_t common = (mode >> 3U) & mode & S_IRWXO;
    return (mode & ~static_cast<mode_t>(S_IRWXG | S_IRWXO)) | common << 3U | common;
}

mode_t withoutOthers(mode_t mode) {
    return mode & ~static_cast<mode_t>(S_IRWXG | S_IRWXO);
}

/// The access control list of a file, empty when it has none; nothing when the disk fails.
std::optional<std::vector<std::byte>> accessListOf(const FileDescriptor& file) {
    const ssize_t size = ::fgetxattr(file.get(), accessList, nullptr, 0);
    if (size < 0) {
        return errno == ENODATA || errno == ENOTSUP || errno == ENOSYS
                   ? std::optional(std::vector<std::byte>())
                   : std::nullopt;
    }
    std::vector<std::byte> list(static_cast<std::size_t>(size));
    return ::fgetxattr(file.get(), accessList, list.data(), list.size()) == size
               ? std::optional(std::move(list))
               : std::nullopt;
}

/// Takes from a file the list that it has from its directory.
bool removeAccessList(const FileDescriptor& file) {
    const auto list = accessListOf(file);
    return list && (list->empty() || ::fremovexattr(file.get(), accessList) == 0);
}

/// Gives the file the owner and the group, or the group, or neither, as this user may. False when
/// the disk fails.
bool changeOwner(const FileDescriptor& file, uid_t owner, gid_t group) {
    constexpr auto noOther = static_cast<uid_t>(-1);
    return ::fchown(file.get(), owner, group) == 0 ||
           (saysRefused(errno) &&
            (::fchown(file.get(), noOther, group) == 0 || saysRefused(errno)));
}

/// Whether the system says that the file has the mode now. A file system without modes gives every
/// file the same.
bool changeMode(const FileDescriptor& file, mode_t mode) {
    if (::fchmod(file.get(), mode) == 0) {
        return true;
    }
    const int reason = errno;
    struct stat status {};
    const bool isRight =
        ::fstat(file.get(), &status) == 0 && (status.st_mode & everyModeBit) == mode;
    errno = reason;
    return isRight;
}

} // namespace

bool copyAccessRights(const FileDescriptor& model, const FileDescriptor& file, FileAccess access) {
    struct stat wanted {};
    struct stat given {};
    if (::fstat(model.get(), &wanted) != 0 || !changeOwner(file, wanted.st_uid, wanted.st_gid) ||
        ::fstat(file.get(), &given) != 0) {
        return false;
    }
    if (access == FileAccess::OwnerOnly) {
        return true;
    }
    const auto list = accessListOf(model);
    if (!list || !removeAccessList(file)) {
        return false;
    }
    const bool keepsGroup = given.st_gid == wanted.st_gid;
    // A list speaks of the file's group, and may keep somebody out whom no mode does.
    if (!list->empty() && !keepsGroup) {
        errno = EPERM;
        return false;
    }
    if (!list->empty() && ::fsetxattr(file.get(), accessList, list->data(), list->size(), 0) != 0) {
        return false;
    }
    const mode_t mode = wanted.st_mode & everyModeBit;
    const mode_t ownersBits = given.st_uid == wanted.st_uid ? 0 : S_IRUSR | S_IWUSR;
    return changeMode(file, (keepsGroup ? mode : withoutGroup(mode)) | ownersBits);
}

bool makePrivate(const FileDescriptor& file) {
    struct stat status {};
    if (::fstat(file.get(), &status) != 0) {
        return false;
    }
    if (!S_ISREG(status.st_mode)) {
        return status.st_uid == ::geteuid();
    }
    return ::fchmod(file.get(), S_IRUSR | S_IWUSR) == 0 ||
           withoutOthers(status.st_mode) == status.st_mode;
}

} // namespace mos
