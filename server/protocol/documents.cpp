#include "server/protocol/documents.h"

#include <algorithm>
#include <array>
#include <nlohmann/json.hpp>
#include <utility>

#include "registry/registry_replies.h"
#include "server/package/published_text.h"

namespace mos::server {
namespace {

using Json = nlohmann::ordered_json;
using Fields = std::vector<std::pair<std::string, Json>>;

Json objectOf(std::string_view name, const Fields& fields) {
    Json object;
    object["name"] = name;
    for (const auto& [key, value] : fields) {
        object[key] = value;
    }
    return object;
}

std::string documentOf(const Json& json) {
    return json.dump() + "\n";
}

bool comesEarlier(const Fields::value_type& a, const Fields::value_type& b) {
    return a.first < b.first;
}

/// The object of `name` and `fields` in the first order, beginning with theirs, in which
/// `isReadRightly` holds; null when there is none.
template<typename Predicate>
Json orderedObject(std::string_view name, Fields fields, Predicate isReadRightly) {
    Json object = objectOf(name, fields);
    if (isReadRightly(object.dump())) {
        return object;
    }
    std::ranges::sort(fields, comesEarlier);
    do {
        object = objectOf(name, fields);
        if (isReadRightly(object.dump())) {
            return object;
        }
    } while (std::ranges::next_permutation(fields, comesEarlier).found);
    return nullptr;
}

/// The object of `name`, `fields` and a description, which may be any text and stands last where it
/// can. A description that would be mistaken for a key wherever it stands gets a full stop.
template<typename Predicate>
Json readableObject(std::string_view name, const Fields& fields, const std::string& description,
                    Predicate isReadRightly) {
    Json object;
    for (const std::string& shown : {description, description + "."}) {
        Fields all = fields;
        all.emplace_back("description", shown);
        object = orderedObject(name, all,
                               [&](const std::string& text) { return isReadRightly(text, shown); });
        if (!object.is_null()) {
            return object;
        }
    }
    return objectOf(name, fields);
}

} // namespace

std::string packageDocument(const PackageSummary& package) {
    const auto isReadRightly = [&](const std::string& text, const std::string& description) {
        const PackageInfo read = parsePackageInfo(text);
        return read.name == package.name && read.latest == package.latest &&
               read.license == package.license && read.versions == package.versions &&
               read.description == description;
    };
    return documentOf(readableObject(
        package.name,
        {{"latest", package.latest}, {"versions", package.versions}, {"license", package.license}},
        package.description, isReadRightly));
}

std::string versionsDocument(std::span<const std::string> versions) {
    return documentOf(Json(std::vector<std::string>(versions.begin(), versions.end())));
}

std::string versionDocument(const PackageRecord& record, std::string_view digest) {
    Json dependencies = Json::array();
    for (const Dependency& dependency : record.dependencies) {
        dependencies.push_back(objectOf(dependency.name, {{"constraint", dependency.constraint}}));
    }
    return documentOf(objectOf(record.name, {{"checksum", "sha256:" + std::string(digest)},
                                             {"version", record.version.to_string()},
                                             {"dependencies", std::move(dependencies)}}));
}

std::string searchDocument(const PackageSummary& package) {
    const auto isReadRightly = [&](const std::string& text, const std::string& description) {
        const auto read = parseSearchResults(text);
        return read.size() == 1 && read[0].name == package.name &&
               read[0].latest.to_string() == package.latest && read[0].description == description;
    };
    return readableObject(package.name, {{"latest", package.latest}}, package.description,
                          isReadRightly)
        .dump();
}

std::string searchResults(std::span<const std::string> documents) {
    std::string text = "[";
    for (const std::string& document : documents) {
        text.append(text.size() > 1 ? "," : "").append(document);
    }
    return text.append("]\n");
}

std::string loginDocument(std::string_view token, std::string_view username,
                          std::string_view email) {
    Json reply;
    reply["cliToken"] = token;
    reply["username"] = username;
    reply["email"] = email;
    return documentOf(reply);
}

std::string publishedDocument(std::string_view name, std::string_view version,
                              std::string_view digest) {
    return documentOf(
        objectOf(name, {{"version", version}, {"checksum", "sha256:" + std::string(digest)}}));
}

std::string errorDocument(std::string_view reason) {
    Json reply;
    reply["error"] = publishedText(reason);
    return documentOf(reply);
}

} // namespace mos::server
