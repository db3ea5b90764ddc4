#pragma once

#include <cstddef>
#include <random>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "manifest/manifest.h"
#include "resolver/package_source.h"

namespace mos {

/// A package source in memory, and a project to be resolved with it. Keeps a list of what it was
/// asked, so that the same look-ups can be made again without resolving.
class PublishedFamily : public IPackageSource {
public:
    using Requirements = std::vector<std::pair<std::string, std::string>>; ///< name, constraint

    /// Publishes PLACE.0.0, or MAJOR.MINOR.0 where two numbers are given.
    void publish(const std::string& name, std::size_t major, const Requirements& requirements) {
        publish(name, major, 0, requirements);
    }
    void publish(const std::string& name, std::size_t major, std::size_t minor,
                 const Requirements& requirements) {
        Package& package = packages[name];
        package.versions.push_back(Version{major, minor, 0, {}, {}});
        VersionMetadata& metadata = package.metadata[package.versions.back().to_string()];
        metadata.found = true;
        metadata.source = "registry+memory";
        metadata.checksum = "sha256:" + std::string(64, '0');
        add(requirements, metadata.dependencies);
    }

    void require(const Requirements& requirements) { add(requirements, project.dependencies); }

    std::vector<Version> availableVersions(const std::string& name) override {
        questions.emplace_back(name, std::string());
        return versions(name);
    }

    VersionMetadata versionMetadata(const std::string& name, const Version& version) override {
        questions.emplace_back(name, version.to_string());
        return metadata(name, questions.back().second);
    }

    /// The answers that were given, made once more.
    void answerAgain() const {
        for (const auto& [name, version] : questions) {
            if (version.empty()) {
                static_cast<void>(versions(name));
            } else {
                static_cast<void>(metadata(name, version));
            }
        }
    }

    Manifest project;
    std::vector<std::pair<std::string, std::string>> questions; ///< name, version or nothing

private:
    struct Package {
        std::vector<Version> versions;
        std::unordered_map<std::string, VersionMetadata> metadata;
    };

    static void add(const Requirements& requirements, DependencyTable& table) {
        for (const auto& [name, constraint] : requirements) {
            DependencySpec spec;
            spec.name = name;
            spec.constraint = VersionConstraint::parse(constraint).value();
            table.assign(name, std::move(spec));
        }
    }

    [[nodiscard]] std::vector<Version> versions(const std::string& name) const {
        const auto found = packages.find(name);
        return found == packages.end() ? std::vector<Version>() : found->second.versions;
    }

    [[nodiscard]] VersionMetadata metadata(const std::string& name,
                                           const std::string& version) const {
        const auto found = packages.find(name);
        if (found == packages.end()) {
            return {};
        }
        const auto described = found->second.metadata.find(version);
        return described == found->second.metadata.end() ? VersionMetadata{} : described->second;
    }

    std::unordered_map<std::string, Package> packages;
};

inline std::string numbered(std::size_t i) {
    return "p" + std::to_string(i);
}

/// `count` direct dependencies of one version each.
inline PublishedFamily directDependencies(std::size_t count) {
    PublishedFamily family;
    for (std::size_t i = 0; i < count; ++i) {
        family.publish(numbered(i), 1, {});
        family.require({{numbered(i), "^1"}});
    }
    return family;
}

/// `count` packages of one version each, of which each needs the next.
inline PublishedFamily chain(std::size_t count) {
    PublishedFamily family;
    for (std::size_t i = 0; i < count; ++i) {
        family.publish(numbered(i), 1,
                       i + 1 < count ? PublishedFamily::Requirements{{numbered(i + 1), "^1"}}
                                     : PublishedFamily::Requirements{});
    }
    family.require({{numbered(0), "^1"}});
    return family;
}

/// `count` packages which each need another version, or a later one, of one with as many versions.
inline PublishedFamily popular(std::size_t count) {
    PublishedFamily family;
    for (std::size_t i = 0; i < count; ++i) {
        family.publish("popular", 1, i, {});
        family.publish(numbered(i), 1, {{"popular", ">=1." + std::to_string(i) + ".0"}});
        family.require({{numbered(i), "^1"}});
    }
    return family;
}

/// `count` packages of `versions` versions in two major lines. Packages need a few others, popular
/// ones more often; one requirement in `pins` is exact. The project needs some of them.
inline PublishedFamily realistic(std::size_t count, std::size_t versions, std::size_t pins) {
    PublishedFamily family;
    std::mt19937 random(20);
    const auto below = [&random](std::size_t limit) { return random() % limit; };
    const auto constraintOn = [&](std::size_t age) {
        const std::size_t place = versions - 1 - std::min(age + below(3), versions - 1);
        const std::string version =
            std::to_string(1 + 2 * place / versions) + "." + std::to_string(place);
        return below(pins) == 0 ? version + ".0" : "^" + version;
    };
    for (std::size_t i = 0; i < count; ++i) {
        for (std::size_t place = 0; place < versions; ++place) {
            PublishedFamily::Requirements requirements;
            for (std::size_t n = below(6); n > 0 && i + 1 < count; --n) {
                const std::size_t ahead = count - i - 1;
                const std::size_t target = i + 1 + std::max(below(ahead), below(ahead));
                requirements.emplace_back(numbered(target), constraintOn(versions - 1 - place));
            }
            family.publish(numbered(i), 1 + 2 * place / versions, place, requirements);
        }
    }
    for (std::size_t i = 0; i < count / 10; ++i) {
        family.require({{numbered(i), "*"}});
    }
    return family;
}

/// Independent packages, and behind them two that never agree on a third, unless in their lowest
/// versions.
inline PublishedFamily independent(std::size_t count, std::size_t versions, bool solvable) {
    PublishedFamily family;
    family.publish("shared", 1, {});
    family.publish("shared", 2, {});
    family.require({{"left", "*"}});
    for (std::size_t i = 0; i < count; ++i) {
        for (std::size_t v = 1; v <= versions; ++v) {
            family.publish(numbered(i), v, {});
        }
        family.require({{numbered(i), "*"}});
    }
    family.require({{"right", "*"}});
    for (std::size_t v = 1; v <= versions; ++v) {
        family.publish("left", v, {{"shared", "1.0.0"}});
        family.publish("right", v, {{"shared", solvable && v == 1 ? "1.0.0" : "2.0.0"}});
    }
    return family;
}

/// A chain in which every version of a package needs the next in any version, and whose end fits
/// only one version of its beginning: the lowest, or none.
inline PublishedFamily chained(std::size_t count, std::size_t versions, bool solvable) {
    PublishedFamily family;
    for (std::size_t i = 0; i < count; ++i) {
        for (std::size_t v = 1; v <= versions; ++v) {
            family.publish(numbered(i), v,
                           {i + 1 < count
                                ? std::pair{numbered(i + 1), std::string("*")}
                                : std::pair{numbered(0), std::string(solvable ? "<2" : "<1")}});
        }
    }
    family.require({{numbered(0), "*"}});
    return family;
}

/// A chain in which neighbours must have the same version, and whose end does not fit its
/// beginning, unless that is in its lowest version.
inline PublishedFamily entangled(std::size_t count, std::size_t versions, bool solvable) {
    PublishedFamily family;
    for (std::size_t v = 1; v <= versions; ++v) {
        const std::string same = std::to_string(v) + ".0.0";
        family.publish("mark", v, {});
        for (std::size_t i = 0; i < count; ++i) {
            PublishedFamily::Requirements requirements;
            if (i == 0) {
                requirements.emplace_back("mark", same);
            }
            if (i + 1 < count) {
                requirements.emplace_back(numbered(i + 1), same);
            } else {
                requirements.emplace_back("mark", solvable && v == 1 ? same : ">" + same);
            }
            family.publish(numbered(i), v, requirements);
        }
    }
    family.require({{numbered(0), "*"}});
    return family;
}

} // namespace mos
