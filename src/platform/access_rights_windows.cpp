#include "platform/access_rights_windows.h"

#include <aclapi.h>

#include <cstring>

namespace mos {
namespace {

/// Who may do what with a file: a discretionary access control list.
class AccessRights {
public:
    explicit AccessRights(const FileHandle& file)
        : error(GetSecurityInfo(file.get(), SE_FILE_OBJECT, DACL_SECURITY_INFORMATION, nullptr,
                                nullptr, &list, nullptr, &descriptor)) {
        DWORD revision = 0;
        if (error == ERROR_SUCCESS &&
            GetSecurityDescriptorControl(descriptor, &control, &revision) == FALSE) {
            error = GetLastError();
        }
    }
    ~AccessRights() { LocalFree(descriptor); }
    AccessRights(const AccessRights&) = delete;
    AccessRights& operator=(const AccessRights&) = delete;

    [[nodiscard]] bool areKnown() const { return error == ERROR_SUCCESS; }

    [[nodiscard]] bool equal(const AccessRights& other) const {
        return areKnown() && other.areKnown() && areInherited() == other.areInherited() &&
               list != nullptr && other.list != nullptr && list->AclSize == other.list->AclSize &&
               std::memcmp(list, other.list, list->AclSize) == 0;
    }

    /// The system's error, 0 for none.
    [[nodiscard]] DWORD giveTo(const FileHandle& file) const {
        const SECURITY_INFORMATION inheritance = areInherited()
                                                     ? UNPROTECTED_DACL_SECURITY_INFORMATION
                                                     : PROTECTED_DACL_SECURITY_INFORMATION;
        return SetSecurityInfo(file.get(), SE_FILE_OBJECT, DACL_SECURITY_INFORMATION | inheritance,
                               nullptr, nullptr, list, nullptr);
    }

private:
    /// Whether the directory's rights count as well.
    [[nodiscard]] bool areInherited() const { return (control & SE_DACL_PROTECTED) == 0; }

    PACL list = nullptr;
    PSECURITY_DESCRIPTOR descriptor = nullptr;
    SECURITY_DESCRIPTOR_CONTROL control = 0;
    DWORD error;
};

} // namespace

bool copyAccessRights(const FileHandle& model, const FileHandle& file) {
    const AccessRights rights(model);
    // What needs no change needs no right to change it either, which not every share gives.
    if (!rights.areKnown() || rights.equal(AccessRights(file))) {
        return true;
    }
    const DWORD error = rights.giveTo(file);
    SetLastError(error);
    return error == ERROR_SUCCESS;
}

} // namespace mos
