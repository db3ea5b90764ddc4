#pragma once

#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "manifest/manifest.h"
#include "resolver/package_source.h"

namespace mos {

/// A package source made of a few lines of text, one version a line:
///
///     json 1.0.0
///     http 2.0.0 json:^2 zip:*
///     lost 1.0.0 !             (listed, but without metadata)
///
/// Counts every question it is asked.
class Universe : public IPackageSource {
public:
    explicit Universe(const std::string& text) {
        std::istringstream lines(text);
        for (std::string line; std::getline(lines, line);) {
            std::istringstream words(line);
            std::string name;
            std::string version;
            if (words >> name >> version) {
                add(name, version, words);
            }
        }
    }

    std::vector<Version> availableVersions(const std::string& name) override {
        ++questions[name];
        return listed[name];
    }

    VersionMetadata versionMetadata(const std::string& name, const Version& version) override {
        ++questions[name + " " + version.to_string()];
        const auto found = described.find(name + " " + version.to_string());
        return found == described.end() ? VersionMetadata{} : found->second;
    }

    std::map<std::string, int> questions;
    std::map<std::string, std::vector<Version>> listed;
    std::map<std::string, VersionMetadata> described;

private:
    void add(const std::string& name, const std::string& version, std::istringstream& words) {
        listed[name].push_back(Version::parse(version).value());
        VersionMetadata metadata;
        metadata.found = true;
        metadata.source = "registry+test";
        metadata.checksum = "sha256:" + name + version;
        for (std::string word; words >> word;) {
            if (word == "!") {
                return;
            }
            const auto colon = word.find(':');
            DependencySpec spec;
            spec.name = word.substr(0, colon);
            spec.constraint = VersionConstraint::parse(word.substr(colon + 1)).value();
            metadata.dependencies.assign(spec.name, spec);
        }
        described[name + " " + version] = metadata;
    }
};

/// The manifest of a project with the given dependencies: "json:^1 http:*".
inline Manifest projectWith(const std::string& dependencies, const std::string& name = "app") {
    Manifest manifest;
    manifest.name = name;
    std::istringstream words(dependencies);
    for (std::string word; words >> word;) {
        const auto colon = word.find(':');
        DependencySpec spec;
        spec.name = word.substr(0, colon);
        spec.constraint = VersionConstraint::parse(word.substr(colon + 1)).value();
        manifest.dependencies.assign(spec.name, spec);
    }
    return manifest;
}

} // namespace mos
