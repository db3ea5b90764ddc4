#include "resolver/resolution_json.h"

#include <algorithm>
#include <string_view>

namespace mos {
namespace {

std::string memberLine(std::string_view key, std::string_view value) {
    return std::string("      \"").append(key).append("\": \"").append(value).append("\",\n");
}

std::string packageText(const ResolvedPackage& package) {
    std::string text = "    {\n";
    text += memberLine("name", package.name);
    text += memberLine("version", package.version.to_string());
    text += memberLine("source", package.source);
    text += memberLine("checksum", package.checksum);
    text += "      \"dependencies\": [";
    for (std::size_t i = 0; i < package.dependencies.size(); ++i) {
        text.append(i == 0 ? "\"" : ", \"").append(package.dependencies[i]).append("\"");
    }
    return text + "]\n    }";
}

} // namespace

std::string resolutionToJson(const Resolution& resolution) {
    std::vector<const ResolvedPackage*> sorted;
    for (const auto& entry : resolution.packages) {
        sorted.push_back(&entry.value);
    }
    std::ranges::sort(sorted, {},
                      [](const auto* package) -> const std::string& { return package->name; });
    std::string text = "{\n  \"root\": \"" + resolution.root + "\",\n  \"packages\": [\n";
    std::size_t left = sorted.size();
    for (const ResolvedPackage* package : sorted) {
        text.append(packageText(*package)).append(--left == 0 ? "\n" : ",\n");
    }
    return text + "  ]\n}\n";
}

} // namespace mos
