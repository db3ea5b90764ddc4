#pragma once

#include "platform/file_descriptor_posix.h"
#include "platform/file_replacement.h"

/// Only the POSIX sources of this folder include it.
namespace mos {

/// Gives `file`, which is the user's own and nobody else's to read, the owner, group, mode and
/// access control list of `model`, as far as this user may give them and the file system has them;
/// with FileAccess::OwnerOnly the owner and group alone. An owner or a group that cannot be given
/// opens the file to nobody but the user himself, who can read and write what stays his. False,
/// with the reason in errno, when the disk fails, or the mode or the list cannot be given.
[[nodiscard]] bool copyAccessRights(const FileDescriptor& model, const FileDescriptor& file,
                                    FileAccess access);

/// Takes from everybody but the owner what they may do with `file`, as far as its file system has
/// modes. False when the system refuses that and they may do something, or when it is no ordinary
/// file and not this user's.
[[nodiscard]] bool makePrivate(const FileDescriptor& file);

} // namespace mos
