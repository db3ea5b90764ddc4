#pragma once

#include <string>
#include <vector>

#include "manifest/dependency_spec.h"
#include "semver/version.h"

namespace mos {

/// A project's moss.toml in memory. The defaults are those of absent keys.
struct Manifest {
    std::string name; ///< empty only for a workspace without a package
    Version version{0, 1, 0, {}, {}};
    std::string edition = "1";
    std::string description;
    std::vector<std::string> authors;
    std::string license = "MIT";
    std::string repository;
    std::string homepage;
    std::vector<std::string> keywords;
    std::vector<std::string> categories;
    std::string readme = "README.md";
    DependencyTable dependencies;
    DependencyTable dev_dependencies;
    DependencyTable build_dependencies;
    std::string entry = "src/main.moss";
    bool optimize = false;
    bool is_workspace = false;
    std::vector<std::string> workspace_members;
};

} // namespace mos
