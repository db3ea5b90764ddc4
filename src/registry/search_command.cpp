#include "registry/search_command.h"

#include "cli/console.h"
#include "registry/package_registry.h"

namespace mos {
namespace {

std::string joinWords(const std::vector<std::string>& words) {
    std::string text;
    for (std::size_t i = 0; i < words.size(); ++i) {
        text.append(i == 0 ? "" : " ").append(words[i]);
    }
    return text;
}

std::string resultText(const SearchResult& result) {
    std::string text = result.name + "\n";
    if (!result.description.empty()) {
        text.append("  ").append(result.description).append("\n");
    }
    return text.append("  latest: ").append(result.latest.to_string()).append("\n\n");
}

} // namespace

int searchCommand(const CommandContext& context) {
    const std::string query = joinWords(context.args);
    const auto registry = makeRegistry();
    const auto results = registry->search(query);

    std::string text = "Packages matching \"" + query + "\"\n\n";
    if (results.empty()) {
        text.append("  No packages found matching query.\n");
    }
    for (const SearchResult& result : results) {
        text.append(resultText(result));
    }
    text.append("Browse packages online: ")
        .append(registry->registryBaseUrl())
        .append("/#packages\n");
    writeOutput(text);
    return 0;
}

} // namespace mos
