#include "manifest/manifest_loader.h"

#include <gtest/gtest.h>

#include <fstream>
#include <vector>

#include "manifest/toml_reader.h"

namespace mos {
namespace {

std::string failureOf(std::string_view text) {
    std::string error;
    return parse_manifest(text, &error) ? "none" : error;
}

Manifest loaded(const std::string& text) {
    return parse_manifest("[package]\nname = \"app\"\n" + text, nullptr).value();
}

/// One dependency as text: name, source, constraint, and what the source has.
std::string shown(const DependencySpec& spec) {
    const std::vector<std::string> sources{"registry", "path", "git"};
    return spec.name + " " + sources[static_cast<std::size_t>(spec.source)] + " " +
           spec.constraint.to_string() + " " + spec.path + "|" + spec.git + "|" + spec.branch +
           "|" + spec.tag + "|" + spec.rev;
}

std::string dependency(const std::string& line) {
    const Manifest manifest = loaded("[dependencies]\n" + line);
    return manifest.dependencies.empty() ? "none" : shown(manifest.dependencies.begin()->value);
}

TEST(ManifestLoader, startsFromTheDefaults) {
    const Manifest manifest = loaded("");
    EXPECT_EQ(manifest.name, "app");
    EXPECT_EQ(manifest.version.to_string(), "0.1.0");
    EXPECT_EQ(manifest.edition, "1");
    EXPECT_EQ(manifest.description, "");
    EXPECT_TRUE(manifest.authors.empty());
    EXPECT_EQ(manifest.license, "MIT");
    EXPECT_EQ(manifest.repository, "");
    EXPECT_EQ(manifest.homepage, "");
    EXPECT_TRUE(manifest.keywords.empty());
    EXPECT_TRUE(manifest.categories.empty());
    EXPECT_EQ(manifest.readme, "README.md");
    EXPECT_TRUE(manifest.dependencies.empty());
    EXPECT_TRUE(manifest.dev_dependencies.empty());
    EXPECT_TRUE(manifest.build_dependencies.empty());
    EXPECT_EQ(manifest.entry, "src/main.moss");
    EXPECT_FALSE(manifest.optimize);
    EXPECT_FALSE(manifest.is_workspace);
    EXPECT_TRUE(manifest.workspace_members.empty());
}

TEST(ManifestLoader, readsEveryKey) {
    const Manifest manifest = parse_manifest("[workspace]\n"
                                             "members = [\"a\", 1, \"b\"]\n"
                                             "[package]\n"
                                             "name = \"app\"\n"
                                             "version = \"1.2.3-rc.1\"\n"
                                             "edition = \"2\"\n"
                                             "description = \"d\"\n"
                                             "authors = [\"x\", true, \"y\"]\n"
                                             "license = \"L\"\n"
                                             "repository = \"r\"\n"
                                             "homepage = \"h\"\n"
                                             "keywords = [\"k\"]\n"
                                             "categories = [\"c\"]\n"
                                             "readme = \"R\"\n"
                                             "unknown = 1\n"
                                             "[dependencies]\n"
                                             "z = \"1.0.0\"\n"
                                             "a = \"^2\"\n"
                                             "[dev-dependencies]\n"
                                             "t = \"*\"\n"
                                             "[build-dependencies]\n"
                                             "b = \"~1\"\n"
                                             "[build]\n"
                                             "entry = \"src/app.moss\"\n"
                                             "[build.release]\n"
                                             "optimize = true\n",
                                             nullptr)
                                  .value();
    EXPECT_TRUE(manifest.is_workspace);
    EXPECT_EQ(manifest.workspace_members, (std::vector<std::string>{"a", "b"}));
    EXPECT_EQ(manifest.version.to_string(), "1.2.3-rc.1");
    EXPECT_EQ(manifest.edition, "2");
    EXPECT_EQ(manifest.description, "d");
    EXPECT_EQ(manifest.authors, (std::vector<std::string>{"x", "y"}));
    EXPECT_EQ(manifest.license, "L");
    EXPECT_EQ(manifest.repository, "r");
    EXPECT_EQ(manifest.homepage, "h");
    EXPECT_EQ(manifest.keywords, (std::vector<std::string>{"k"}));
    EXPECT_EQ(manifest.categories, (std::vector<std::string>{"c"}));
    EXPECT_EQ(manifest.readme, "R");
    ASSERT_EQ(manifest.dependencies.size(), 2U);
    EXPECT_EQ(manifest.dependencies.begin()->key, "z");
    EXPECT_EQ(shown(*manifest.dependencies.find("a")), "a registry ^2 ||||");
    EXPECT_EQ(shown(*manifest.dev_dependencies.find("t")), "t registry * ||||");
    EXPECT_EQ(shown(*manifest.build_dependencies.find("b")), "b registry ~1 ||||");
    EXPECT_EQ(manifest.entry, "src/app.moss");
    EXPECT_TRUE(manifest.optimize);
}

TEST(ManifestLoader, namesTheOneReasonOfAFailure) {
    struct Row {
        std::string_view text;
        std::string message;
    };
    const std::vector<Row> rows{
        {"x", "Line 1: Expected '=' in statement: x"},
        {"", "Manifest must contain either [package] or [workspace] section."},
        {"[dependencies]", "Manifest must contain either [package] or [workspace] section."},
        {"package = 1", "The [package] section must be a table."},
        {"workspace = 1\npackage = 1", "The [package] section must be a table."},
        {"[[package]]", "The [package] section must be a table."},
        {"[package]", "Invalid package name '': package name cannot be empty"},
        {"[package]\nname = 1", "Invalid package name '': package name cannot be empty"},
        {"[package]\nname = \"Bad\"\nversion = \"bad\"",
         "Invalid package name 'Bad': package name should be lowercase"},
        {"[package]\nname = \"app\"\nversion = \"1.0\"", "Invalid package version '1.0'."},
        {"[package]\nname = \"app\"\nversion = \"\"", "Invalid package version ''."},
        {"[package]\nname = \"app\"\nversion = 1", "none"},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(failureOf(row.text), row.message) << "text: " << row.text;
    }
    EXPECT_FALSE(parse_manifest("", nullptr).has_value());
}

TEST(ManifestLoader, loadsAWorkspaceWithoutAPackage) {
    const Manifest manifest =
        parse_manifest("[workspace]\nmembers = [\"a\", \"b\"]\n[dependencies]\nx = \"1.0.0\"",
                       nullptr)
            .value();
    EXPECT_TRUE(manifest.is_workspace);
    EXPECT_EQ(manifest.name, "");
    EXPECT_EQ(manifest.version.to_string(), "0.1.0");
    EXPECT_EQ(manifest.workspace_members, (std::vector<std::string>{"a", "b"}));
    EXPECT_TRUE(manifest.dependencies.contains("x"));
}

TEST(ManifestLoader, takesAnyKindOfWorkspaceKeyForAWorkspace) {
    EXPECT_TRUE(parse_manifest("workspace = 1", nullptr)->is_workspace);
    EXPECT_TRUE(parse_manifest("[workspace]\nmembers = \"a\"", nullptr)->workspace_members.empty());
}

TEST(ManifestLoader, keepsTheDefaultForAWrongKindOfValue) {
    const Manifest manifest = loaded("edition = 1\nlicense = true\nreadme = []\nauthors = \"a\"\n"
                                     "version = 7\n[build]\nentry = 3\n[build.release]\n"
                                     "optimize = \"true\"");
    EXPECT_EQ(manifest.edition, "1");
    EXPECT_EQ(manifest.license, "MIT");
    EXPECT_EQ(manifest.readme, "README.md");
    EXPECT_TRUE(manifest.authors.empty());
    EXPECT_EQ(manifest.version.to_string(), "0.1.0");
    EXPECT_EQ(manifest.entry, "src/main.moss");
    EXPECT_FALSE(manifest.optimize);
}

TEST(ManifestLoader, keepsAnEmptyString) {
    const Manifest manifest = loaded("license = \"\"\nreadme = \"\"");
    EXPECT_EQ(manifest.license, "");
    EXPECT_EQ(manifest.readme, "");
}

TEST(ManifestLoader, readsOptimizeUnderBuildReleaseOnly) {
    EXPECT_FALSE(loaded("[build]\noptimize = true").optimize);
    EXPECT_TRUE(loaded("[build.release]\noptimize = true").optimize);
}

TEST(ManifestLoader, readsDependencies) {
    struct Row {
        std::string line;
        std::string result;
    };
    const std::vector<Row> rows{
        {"foo = \"^1.2\"", "foo registry ^1.2 ||||"},
        {"foo = \"not a version\"", "foo registry * ||||"},
        {"foo = \"\"", "foo registry * ||||"},
        {"foo = 3", "none"},
        {"foo = true", "none"},
        {"foo = [\"1.0.0\"]", "none"},
        {"foo = {}", "foo registry * ||||"},
        {"foo = { version = \"~1.2\" }", "foo registry ~1.2 ||||"},
        {"foo = { version = \"bad\" }", "foo registry * ||||"},
        {"foo = { version = 1 }", "foo registry * ||||"},
        {"foo = { path = \"../foo\" }", "foo path * ../foo||||"},
        {"foo = { path = \"../foo\", git = \"x\", tag = \"t\" }", "foo path * ../foo||||"},
        {"foo = { path = \"../foo\", version = \"^1\" }", "foo path ^1 ../foo||||"},
        {"foo = { path = 1 }", "foo path * ||||"},
        {"foo = { git = \"u\", branch = \"b\", tag = \"t\", rev = \"r\" }", "foo git * |u|b|t|r"},
        {"foo = { git = 1, branch = 2 }", "foo git * ||||"},
        {"foo = { branch = \"b\" }", "foo registry * ||||"},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(dependency(row.line), row.result) << "line: " << row.line;
    }
}

TEST(ManifestLoader, ignoresADependencyKeyThatIsNoTable) {
    EXPECT_TRUE(parse_manifest("dependencies = [\"a\"]\n[package]\nname = \"app\"", nullptr)
                    ->dependencies.empty());
}

TEST(ManifestLoader, readsAFileAndNamesOneThatCannotBeOpened) {
    const auto directory = std::filesystem::path(testing::TempDir()) / "manifest_loader_test";
    std::filesystem::create_directories(directory);
    const auto file = directory / "moss.toml";
    std::ofstream(file, std::ios::binary) << "[package]\nname = \"app\"\n";
    std::string error;
    EXPECT_EQ(load_manifest(file, &error)->name, "app");

    const auto missing = directory / "none.toml";
    EXPECT_FALSE(load_manifest(missing, &error).has_value());
    EXPECT_EQ(error, "Could not open manifest file: " + missing.string());
    EXPECT_FALSE(load_manifest(missing, nullptr).has_value());

    EXPECT_FALSE(load_manifest(directory, &error).has_value());
    EXPECT_EQ(error, "Could not open manifest file: " + directory.string());
    std::filesystem::remove_all(directory);
}

} // namespace
} // namespace mos
