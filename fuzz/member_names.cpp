#include <algorithm>
#include <filesystem>
#include <string>

#include "archive/extraction.h"
#include "targets.h"

namespace mos::fuzz {

void memberNames(std::string_view input) {
    if (!isSafeEntryName(input)) {
        return;
    }
    std::string name(input);
    std::ranges::replace(name, '\\', '/');
    require(!name.empty() && name.front() != '/', "a safe name is relative");
    require(name.size() < 2 || name[1] != ':', "a safe name has no drive");
    if (name.find('\0') != std::string::npos) {
        return;
    }
    const std::filesystem::path base = "/base/directory";
    const std::string target = (base / name).lexically_normal().string();
    require(target.starts_with("/base/directory"), "a safe name stays below its directory");
    require(target.size() == base.string().size() || target[base.string().size()] == '/',
            "a safe name is not beside its directory");
}

} // namespace mos::fuzz
