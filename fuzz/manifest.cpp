#include "manifest/manifest_loader.h"
#include "manifest/manifest_writer.h"

#include <string>

#include "manifest/package_name.h"
#include "targets.h"

namespace mos::fuzz {
namespace {

/// Whether a text means the same to the reader once it stands between quotation marks: values are
/// written as they are.
bool isPlain(std::string_view text) {
    return text.find_first_of("\"\\\r\n#") == std::string_view::npos;
}

bool isPlainTable(const DependencyTable& table) {
    for (const auto& entry : table) {
        const DependencySpec& spec = entry.value;
        if (!isPlain(entry.key) || entry.key.find_first_of("=.[] \t") != std::string::npos ||
            entry.key.empty() || spec.source != DependencySource::Registry ||
            !isPlain(spec.constraint.to_string())) {
            return false;
        }
    }
    return true;
}

bool isPlainManifest(const Manifest& manifest) {
    return isPlain(manifest.version.to_string()) && isPlain(manifest.description) &&
           isPlain(manifest.license) && isPlain(manifest.edition) &&
           isPlainTable(manifest.dependencies) && isPlainTable(manifest.dev_dependencies) &&
           isPlainTable(manifest.build_dependencies);
}

} // namespace

void manifest(std::string_view input) {
    std::string error;
    const auto read = parse_manifest(input, &error);
    require(read.has_value() == error.empty(), "a manifest or a message, never both");
    if (!read) {
        return;
    }
    require(read->is_workspace || validate_package_name(read->name, nullptr),
            "a package has a valid name");
    const std::string text = manifest_to_string(*read);
    if (!isPlainManifest(*read)) {
        return;
    }
    const auto again = parse_manifest(text, &error);
    if (!again) {
        return; // other values are written as they are, too
    }
    require(again->name == read->name && again->version.to_string() == read->version.to_string(),
            "name and version survive a round");
    require(again->dependencies.size() == read->dependencies.size(),
            "dependencies survive a round");
    for (const auto& entry : read->dependencies) {
        const DependencySpec* spec = again->dependencies.find(entry.key);
        require(spec != nullptr &&
                    spec->constraint.to_string() == entry.value.constraint.to_string(),
                "a constraint survives a round");
    }
}

} // namespace mos::fuzz
