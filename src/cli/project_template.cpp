#include "cli/project_template.h"

#include <system_error>

#include "platform/file_replacement.h"

namespace mos {

Manifest newManifest(std::string_view name) {
    Manifest manifest;
    manifest.name = name;
    manifest.version = Version{0, 1, 0, {}, {}};
    manifest.edition = "1";
    return manifest;
}

std::string entrySource(std::string_view name) {
    return std::string("function main(): int {\n    println(\"Hello from ")
        .append(name)
        .append("!\")\n    return 0\n}\n");
}

std::string readmeText(std::string_view name) {
    return std::string("# ").append(name).append("\n\nA new Moss programming language project.\n");
}

std::string_view gitignoreText() noexcept {
    return "packages/\n*.mos\nbuild/\ntarget/\n";
}

void writeProjectFile(const std::filesystem::path& path, std::string_view text) {
    std::error_code error;
    if (!replaceFile(path, text, FileAccess::Default, &error)) {
        throw std::filesystem::filesystem_error("write", path, error);
    }
}

} // namespace mos
