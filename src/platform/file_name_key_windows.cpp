#include "platform/file_name_key.h"

#include <windows.h>

#include <algorithm>

namespace mos {

std::filesystem::path::string_type fileNameKey(const std::filesystem::path& name) {
    std::wstring key = name.native();
    std::ranges::replace(key, L'/', L'\\');
    const auto length = static_cast<int>(key.size());
    // File systems turn one unit into one unit, like this call without a flag for linguistic rules.
    static_cast<void>(LCMapStringEx(LOCALE_NAME_INVARIANT, LCMAP_UPPERCASE, key.data(), length,
                                    key.data(), length, nullptr, nullptr, 0));
    return key;
}

} // namespace mos
