#include <algorithm>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "manifest/package_name.h"
#include "registry/registry_replies.h"
#include "semver/version_constraint.h"
#include "server/package/manifest_rules.h"
#include "server/package/published_text.h"
#include "server/protocol/documents.h"
#include "targets.h"

namespace mos::fuzz {
namespace {

using namespace server;

/// What mos understands of the metadata of `record` is what the manifest says.
void checkMetadata(const PackageRecord& record) {
    const std::string digest(64, 'a');
    const std::string document = versionDocument(record, digest);
    require(nlohmann::json::accept(document), "metadata are JSON");
    require(parseChecksum(document) == "sha256:" + digest, "mos finds the checksum");
    for (const auto& [name, spec] : parseDependencies(document)) {
        const auto said = std::ranges::find(record.dependencies, name, &Dependency::name);
        require(said != record.dependencies.end(), "mos finds no dependency that is not there");
        require(spec.constraint.to_string() ==
                    VersionConstraint::parse(said->constraint)->to_string(),
                "mos finds every constraint");
    }
    require(parseDependencies(document).size() == record.dependencies.size(),
            "mos finds every dependency");
}

} // namespace

void uploadedManifest(std::string_view input) {
    const ManifestReading reading = readPublishedManifest(input);
    require(reading.record.has_value() == reading.refusal.empty(), "a refusal says why");
    require(publishedText(reading.refusal) == reading.refusal, "a refusal is one plain line");
    if (!reading.record) {
        return;
    }
    const PackageRecord& record = *reading.record;
    require(validate_package_name(record.name, nullptr), "a package has a valid name");
    require(foldedName(foldedName(record.name)) == foldedName(record.name), "folding is final");
    const auto again = Version::parse(record.version.to_string());
    require(again && *again == record.version, "a version is written as it is read");
    require(record.version.build.empty(), "no build metadata are published");
    checkMetadata(record);
}

} // namespace mos::fuzz
