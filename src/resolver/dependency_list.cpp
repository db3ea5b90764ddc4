#include "resolver/dependency_list.h"

namespace mos {

std::string dependencyListText(const DependencyTable& dependencies) {
    constexpr std::size_t nameWidth = 24;
    std::string text = "Dependencies\n\n";
    for (const auto& entry : dependencies) {
        text += entry.key;
        if (entry.key.size() < nameWidth) {
            text.append(nameWidth - entry.key.size(), ' ');
        }
        text.append(entry.value.constraint.to_string()).append("\n");
    }
    return text;
}

std::string dependencyListJson(const DependencyTable& dependencies) {
    std::string text = "{\n  \"dependencies\": {\n";
    std::size_t left = dependencies.size();
    for (const auto& entry : dependencies) {
        text.append("    \"").append(entry.key).append("\": \"");
        text.append(entry.value.constraint.to_string()).append(--left == 0 ? "\"\n" : "\",\n");
    }
    return text + "  }\n}\n";
}

} // namespace mos
