#include "platform/access_rights_windows.h"

#include <aclapi.h>

namespace mos {

bool copyAccessRights(const FileHandle& model, const FileHandle& file) {
    PACL list = nullptr;
    PSECURITY_DESCRIPTOR descriptor = nullptr;
    if (GetSecurityInfo(model.get(), SE_FILE_OBJECT, DACL_SECURITY_INFORMATION, nullptr, nullptr,
                        &list, nullptr, &descriptor) != ERROR_SUCCESS) {
        return true;
    }
    SECURITY_DESCRIPTOR_CONTROL control = 0;
    DWORD revision = 0;
    DWORD error = ERROR_SUCCESS;
    if (GetSecurityDescriptorControl(descriptor, &control, &revision) == FALSE) {
        error = GetLastError();
    } else if ((control & SE_DACL_PROTECTED) != 0) {
        error = SetSecurityInfo(file.get(), SE_FILE_OBJECT,
                                DACL_SECURITY_INFORMATION | PROTECTED_DACL_SECURITY_INFORMATION,
                                nullptr, nullptr, list, nullptr);
    } else {
        error = SetSecurityInfo(file.get(), SE_FILE_OBJECT,
                                DACL_SECURITY_INFORMATION | UNPROTECTED_DACL_SECURITY_INFORMATION,
                                nullptr, nullptr, list, nullptr);
    }
    LocalFree(descriptor);
    SetLastError(error);
    return error == ERROR_SUCCESS;
}

} // namespace mos
