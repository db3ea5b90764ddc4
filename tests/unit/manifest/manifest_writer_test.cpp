#include "manifest/manifest_writer.h"

#include <gtest/gtest.h>

#include "manifest/manifest_loader.h"

namespace mos {
namespace {

Manifest named(std::string name) {
    Manifest manifest;
    manifest.name = std::move(name);
    return manifest;
}

DependencySpec requiring(std::string_view constraint) {
    DependencySpec spec;
    spec.constraint = VersionConstraint::parse(constraint).value();
    return spec;
}

TEST(ManifestWriter, writesANewProjectWithOneDependency) {
    Manifest manifest = named("demo");
    manifest.dependencies.assign("json", requiring("^1.2"));
    EXPECT_EQ(manifest_to_string(manifest), "[package]\n"
                                            "name = \"demo\"\n"
                                            "version = \"0.1.0\"\n"
                                            "edition = \"1\"\n"
                                            "license = \"MIT\"\n"
                                            "readme = \"README.md\"\n"
                                            "\n"
                                            "[dependencies]\n"
                                            "json = \"^1.2\"\n"
                                            "\n");
}

TEST(ManifestWriter, writesEveryBlock) {
    Manifest manifest = named("demo");
    manifest.is_workspace = true;
    manifest.workspace_members = {"a", "b/c"};
    manifest.version = Version{1, 2, 3, {"rc"}, "b"};
    manifest.description = "d";
    manifest.authors = {"x", "y"};
    manifest.repository = "r";
    manifest.homepage = "h";
    manifest.keywords = {"never"};
    manifest.categories = {"never"};
    manifest.dependencies.assign("z", requiring("1.0.0"));
    DependencySpec local = requiring("^1");
    local.source = DependencySource::Path;
    local.path = "../local";
    manifest.dependencies.assign("local", local);
    DependencySpec git = requiring("^1");
    git.source = DependencySource::Git;
    git.git = "u";
    git.branch = "b";
    git.tag = "t";
    git.rev = "r";
    manifest.dev_dependencies.assign("g", git);
    git.branch = git.tag = git.rev = "";
    manifest.build_dependencies.assign("plain", git);
    manifest.entry = "src/app.moss";
    manifest.optimize = true;
    EXPECT_EQ(manifest_to_string(manifest),
              "[workspace]\nmembers = [\"a\", \"b/c\"]\n\n"
              "[package]\nname = \"demo\"\nversion = \"1.2.3-rc+b\"\nedition = \"1\"\n"
              "description = \"d\"\nauthors = [\"x\", \"y\"]\nlicense = \"MIT\"\n"
              "repository = \"r\"\nhomepage = \"h\"\nreadme = \"README.md\"\n\n"
              "[dependencies]\nlocal = { path = \"../local\" }\nz = \"1.0.0\"\n\n"
              "[dev-dependencies]\n"
              "g = { git = \"u\", branch = \"b\", tag = \"t\", rev = \"r\" }\n\n"
              "[build-dependencies]\nplain = { git = \"u\" }\n\n"
              "[build]\nentry = \"src/app.moss\"\n\n[build.release]\noptimize = true\n");
}

TEST(ManifestWriter, writesOnlyTheWorkspaceOfAManifestWithoutAName) {
    Manifest manifest;
    manifest.is_workspace = true;
    EXPECT_EQ(manifest_to_string(manifest), "[workspace]\nmembers = []\n\n");
}

TEST(ManifestWriter, leavesOutEmptyTexts) {
    Manifest manifest = named("demo");
    manifest.license = manifest.readme = "";
    manifest.edition = "";
    EXPECT_EQ(manifest_to_string(manifest),
              "[package]\nname = \"demo\"\nversion = \"0.1.0\"\nedition = \"\"\n\n");
}

TEST(ManifestWriter, sortsDependenciesByBytes) {
    Manifest manifest;
    for (const char* name : {"a_b", "b", "a-b", "a", "B"}) {
        manifest.dependencies.assign(name, requiring("1.0.0"));
    }
    EXPECT_EQ(manifest_to_string(manifest), "[dependencies]\nB = \"1.0.0\"\na = \"1.0.0\"\n"
                                            "a-b = \"1.0.0\"\na_b = \"1.0.0\"\nb = \"1.0.0\"\n\n");
}

TEST(ManifestWriter, writesNoLineForARegistryDependencyWithAPathOrLocation) {
    Manifest manifest;
    DependencySpec spec = requiring("1.0.0");
    spec.path = "p";
    manifest.dependencies.assign("a", spec);
    spec.path = "";
    spec.git = "g";
    manifest.dependencies.assign("b", spec);
    EXPECT_EQ(manifest_to_string(manifest), "[dependencies]\n\n");
}

TEST(ManifestWriter, writesTheBuildBlockUnlessItIsTheDefault) {
    Manifest manifest;
    EXPECT_EQ(manifest_to_string(manifest), "");
    manifest.entry = "x";
    EXPECT_EQ(manifest_to_string(manifest), "[build]\nentry = \"x\"\n");
    manifest.entry = "src/main.moss";
    manifest.optimize = true;
    EXPECT_EQ(manifest_to_string(manifest),
              "[build]\nentry = \"src/main.moss\"\n\n[build.release]\noptimize = true\n");
}

TEST(ManifestWriter, doesNotEscapeQuotes) {
    Manifest manifest = named("demo");
    manifest.description = "a \"b\" \\";
    EXPECT_NE(manifest_to_string(manifest).find("description = \"a \"b\" \\\"\n"),
              std::string::npos);
}

TEST(ManifestWriter, writesWhatLoadsBack) {
    const std::string text = "[workspace]\nmembers = [\"m\"]\n\n"
                             "[package]\nname = \"demo\"\nversion = \"1.0.0\"\nedition = \"3\"\n"
                             "description = \"d\"\nauthors = [\"a\"]\nlicense = \"L\"\n"
                             "repository = \"r\"\nhomepage = \"h\"\nreadme = \"R\"\n\n"
                             "[dependencies]\na = \">= 1, <2\"\np = { path = \"x\" }\n\n"
                             "[dev-dependencies]\ng = { git = \"u\", tag = \"t\" }\n\n"
                             "[build]\nentry = \"e\"\n\n[build.release]\noptimize = true\n";
    EXPECT_EQ(manifest_to_string(parse_manifest(text, nullptr).value()), text);
}

TEST(ManifestWriter, savesTheTextAndReportsAFileThatCannotBeWritten) {
    const auto directory = std::filesystem::path(testing::TempDir()) / "manifest_writer_test";
    std::filesystem::create_directories(directory);
    EXPECT_TRUE(save_manifest(named("demo"), directory / "moss.toml"));
    EXPECT_EQ(load_manifest(directory / "moss.toml", nullptr)->name, "demo");
    EXPECT_FALSE(save_manifest(named("demo"), directory));
    EXPECT_FALSE(save_manifest(named("demo"), directory / "none" / "moss.toml"));
    std::filesystem::remove_all(directory);
}

} // namespace
} // namespace mos
