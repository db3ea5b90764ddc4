#include "resolver/resolver.h"

#include <gtest/gtest.h>

#include "cli/mos_exception.h"
#include "resolver/universe.h"

namespace mos {
namespace {

/// "name version" lines in the order of the resolution without the project, or the failure.
std::string resolved(IPackageSource& source, const Manifest& manifest,
                     const Lockfile* lockfile = nullptr, bool useLockfile = true) {
    try {
        const Resolution resolution = Resolver::resolve(source, manifest, lockfile, useLockfile);
        std::string text;
        for (const auto& entry : resolution.packages) {
            if (!entry.value.isRoot) {
                text += entry.key + " " + entry.value.version.to_string() + "\n";
            }
        }
        return text;
    } catch (const MosException& exception) {
        return "error: " + exception.message;
    }
}

std::string resolvedIn(const std::string& universe, const std::string& dependencies) {
    Universe source(universe);
    return resolved(source, projectWith(dependencies));
}

ResolvedPackage locked(const std::string& name, const std::string& version,
                       const std::string& source = "registry+old",
                       const std::string& checksum = "sha256:old") {
    return {name, Version::parse(version).value(), source, checksum, {}, false};
}

TEST(Resolver, asksNothingForAProjectWithoutDependencies) {
    Universe source("json 1.0.0");
    const Resolution resolution = Resolver::resolve(source, projectWith(""), nullptr, true);
    EXPECT_EQ(resolution.root, "app");
    EXPECT_TRUE(resolution.rootDependencies.empty());
    ASSERT_EQ(resolution.packages.size(), 1U);
    EXPECT_TRUE(resolution.packages.find("app")->isRoot);
    EXPECT_TRUE(source.questions.empty());
}

TEST(Resolver, callsAProjectWithoutANameProject) {
    Universe source("");
    EXPECT_EQ(Resolver::resolve(source, projectWith("", ""), nullptr, true).root, "project");
    EXPECT_EQ(resolvedIn("json 1.0.0 project:*", "json:*"), "error: package 'project' was not "
                                                            "found in registry or local sources");
    Universe cyclic("json 1.0.0 project:*");
    EXPECT_EQ(resolved(cyclic, projectWith("json:*", "")),
              "error: Cyclic dependency detected: project -> json -> project");
}

TEST(Resolver, ignoresDevelopmentAndBuildDependencies) {
    Universe source("json 1.0.0");
    Manifest manifest = projectWith("");
    manifest.dev_dependencies = projectWith("json:*").dependencies;
    manifest.build_dependencies = projectWith("json:*").dependencies;
    EXPECT_EQ(resolved(source, manifest), "");
}

TEST(Resolver, takesTheHighestMatchingVersionWhateverTheOrderOfTheReply) {
    EXPECT_EQ(
        resolvedIn("json 1.2.0\njson 2.0.0\njson 1.10.0\njson 1.9.0\njson 1.11.0-rc", "json:^1"),
        "json 1.10.0\n");
}

TEST(Resolver, fillsEveryFieldOfTheResult) {
    Universe source("http 1.0.0 zip:* json:^1\njson 1.0.0\nzip 2.0.0");
    const Resolution resolution =
        Resolver::resolve(source, projectWith("http:* json:*"), nullptr, true);
    EXPECT_EQ(resolution.root, "app");
    EXPECT_EQ(resolution.rootDependencies, (std::vector<std::string>{"http", "json"}));
    const ResolvedPackage& http = *resolution.packages.find("http");
    EXPECT_EQ(http.name, "http");
    EXPECT_EQ(http.version.to_string(), "1.0.0");
    EXPECT_EQ(http.source, "registry+test");
    EXPECT_EQ(http.checksum, "sha256:http1.0.0");
    EXPECT_EQ(http.dependencies, (std::vector<std::string>{"zip", "json"}));
    EXPECT_FALSE(http.isRoot);
    const ResolvedPackage& root = *resolution.packages.find("app");
    EXPECT_EQ(root.version.to_string(), "0.1.0");
    EXPECT_EQ(root.source, "");
    EXPECT_EQ(root.checksum, "");
    EXPECT_EQ(root.dependencies, (std::vector<std::string>{"http", "json"}));
    EXPECT_TRUE(root.isRoot);
}

TEST(Resolver, takesRequirementsFirstInFirstOut) {
    EXPECT_EQ(resolvedIn("a 1.0.0 c:* d:*\nb 1.0.0 e:*\nc 1.0.0 f:*\nd 1.0.0\ne 1.0.0\nf 1.0.0",
                         "a:* b:*"),
              "a 1.0.0\nb 1.0.0\nc 1.0.0\nd 1.0.0\ne 1.0.0\nf 1.0.0\n");
}

TEST(Resolver, fallsBackToALowerVersionWhenTheHighestCannotBeSatisfied) {
    EXPECT_EQ(resolvedIn("http 2.0.0 json:^2\nhttp 1.0.0 json:^1\njson 1.0.0", "http:*"),
              "http 1.0.0\njson 1.0.0\n");
}

TEST(Resolver, undoesTheMostRecentChoiceFirst) {
    EXPECT_EQ(resolvedIn("a 2.0.0\na 1.0.0\nb 2.0.0 a:^1\nb 1.0.0", "a:* b:*"),
              "a 2.0.0\nb 1.0.0\n");
}

TEST(Resolver, acceptsCyclesAmongPackages) {
    EXPECT_EQ(resolvedIn("a 1.0.0 b:*\nb 1.0.0 a:*", "a:*"), "a 1.0.0\nb 1.0.0\n");
}

TEST(Resolver, reportsAConflictWithBothRequirers) {
    EXPECT_EQ(resolvedIn("a 1.0.0 c:^1\nb 1.0.0 c:^2\nc 1.0.0\nc 2.0.0", "a:* b:*"),
              "error: dependency conflict for 'c':\n"
              "  b requires: c ^1 (selected: 1.0.0)\n"
              "  c requires: c ^2\n"
              "No compatible version was found.");
    EXPECT_EQ(resolvedIn("a 1.0.0 b:^2\nb 1.0.0", "b:^1 a:*"),
              "error: dependency conflict for 'b':\n"
              "  app requires: b ^1 (selected: 1.0.0)\n"
              "  a requires: b ^2\n"
              "No compatible version was found.");
}

TEST(Resolver, reportsAnUnknownPackage) {
    EXPECT_EQ(resolvedIn("", "json:*"),
              "error: package 'json' was not found in registry or local sources");
}

TEST(Resolver, listsAtMostFiveVersionsWhenNoneMatches) {
    EXPECT_EQ(resolvedIn("j 1.0.0\nj 3.0.0\nj 2.0.0\nj 5.0.0\nj 4.0.0", "j:^9"),
              "error: no available version of 'j' matches constraint '^9'.\n"
              "Available versions: 5.0.0, 4.0.0, 3.0.0, 2.0.0, 1.0.0");
    EXPECT_EQ(
        resolvedIn("j 1.0.0\nj 3.0.0\nj 2.0.0\nj 5.0.0\nj 4.0.0\nj 6.0.0\nj 7.0.0-rc", "j:^9"),
        "error: no available version of 'j' matches constraint '^9'.\n"
        "Available versions: 7.0.0-rc, 6.0.0, 5.0.0, 4.0.0, 3.0.0, ...");
}

TEST(Resolver, reportsADependencyOnTheProjectItselfWithTheWholePath) {
    EXPECT_EQ(resolvedIn("a 1.0.0\nb 1.0.0 app:*", "a:* b:*"),
              "error: Cyclic dependency detected: app -> a -> b -> app");
    EXPECT_EQ(resolvedIn("", "app:*"), "error: Cyclic dependency detected: app -> app");
}

TEST(Resolver, passesOverVersionsWithoutMetadata) {
    EXPECT_EQ(resolvedIn("a 2.0.0 !\na 1.0.0", "a:*"), "a 1.0.0\n");
    EXPECT_EQ(resolvedIn("a 2.0.0 !\na 1.0.0 !", "a:*"), "error: ");
}

TEST(Resolver, reportsTheLastFailureOnly) {
    EXPECT_EQ(resolvedIn("a 2.0.0 gone:*\na 1.0.0 b:^2\nb 1.0.0", "a:*"),
              "error: no available version of 'b' matches constraint '^2'.\n"
              "Available versions: 1.0.0");
    // A version without metadata after a failure does not hide it.
    EXPECT_EQ(resolvedIn("a 2.0.0 gone:*\na 1.0.0 !", "a:*"),
              "error: package 'gone' was not found in registry or local sources");
    // A package none of whose versions is described fails without words.
    EXPECT_EQ(resolvedIn("a 2.0.0 gone:*\na 1.0.0 b:*\nb 1.0.0 !", "a:*"), "error: ");
}

// The example of docs/resolver.md.
TEST(Resolver, reportsTheFailureOfTheLowestVersions) {
    EXPECT_EQ(resolvedIn("web 2.0.0 log:* json:^2\nweb 1.0.0 log:* json:^2\n"
                         "theme 3.0.0\ntheme 2.0.0\ntheme 1.0.0\n"
                         "auth 2.0.0 json:^1\nauth 1.0.0 json:^1\n"
                         "log 1.1.0\nlog 1.0.0\njson 2.0.0\njson 1.4.0",
                         "web:* theme:* auth:*"),
              "error: dependency conflict for 'json':\n"
              "  log requires: json ^2 (selected: 2.0.0)\n"
              "  json requires: json ^1\n"
              "No compatible version was found.");
}

TEST(Resolver, throwsAConflictWithItsHelpAndExitStatus) {
    Universe source("");
    try {
        static_cast<void>(Resolver::resolve(source, projectWith("json:*"), nullptr, true));
        FAIL() << "nothing was thrown";
    } catch (const MosException& exception) {
        EXPECT_EQ(exception.code, ErrorCode::DependencyConflict);
        EXPECT_EQ(exception.help, "check your dependency constraints in moss.toml");
        EXPECT_EQ(exception.exitCode, 4);
    }
}

TEST(Resolver, keepsALockedVersionAndLeavesOutWhatOnlyItNeeds) {
    Universe source("a 1.0.0 b:*\na 2.0.0\nb 1.0.0");
    const Lockfile lockfile{1, {locked("a", "1.0.0")}};
    const Resolution resolution = Resolver::resolve(source, projectWith("a:*"), &lockfile, true);
    ASSERT_EQ(resolution.packages.size(), 2U);
    const ResolvedPackage& a = *resolution.packages.find("a");
    EXPECT_EQ(a.version.to_string(), "1.0.0");
    EXPECT_EQ(a.source, "registry+old");
    EXPECT_EQ(a.checksum, "sha256:old");
    EXPECT_EQ(a.dependencies, (std::vector<std::string>{"b"}));
    EXPECT_EQ(source.questions, (std::map<std::string, int>{{"a 1.0.0", 1}}));
}

TEST(Resolver, ignoresTheLockFileWhenToldTo) {
    Universe source("a 1.0.0\na 2.0.0");
    const Lockfile lockfile{1, {locked("a", "1.0.0")}};
    EXPECT_EQ(resolved(source, projectWith("a:*"), &lockfile, false), "a 2.0.0\n");
}

TEST(Resolver, ignoresALockedVersionOutsideTheConstraint) {
    Universe source("a 1.0.0\na 2.0.0");
    const Lockfile lockfile{1, {locked("a", "1.0.0")}};
    EXPECT_EQ(resolved(source, projectWith("a:^2"), &lockfile), "a 2.0.0\n");
}

TEST(Resolver, ignoresALockedPackageThatIsNoDirectDependency) {
    Universe source("a 1.0.0 b:*\nb 1.0.0\nb 2.0.0");
    const Lockfile lockfile{1, {locked("b", "1.0.0")}};
    EXPECT_EQ(resolved(source, projectWith("a:*"), &lockfile), "a 1.0.0\nb 2.0.0\n");
}

TEST(Resolver, ignoresALockedVersionWithoutMetadata) {
    Universe source("a 1.0.0 !\na 0.9.0");
    const Lockfile lockfile{1, {locked("a", "1.0.0")}};
    EXPECT_EQ(resolved(source, projectWith("a:*"), &lockfile), "a 0.9.0\n");
    EXPECT_EQ(source.questions,
              (std::map<std::string, int>{{"a", 1}, {"a 0.9.0", 1}, {"a 1.0.0", 1}}));
}

TEST(Resolver, takesTheLastOfTwoLockedVersionsOfOneName) {
    Universe source("a 1.0.0\na 2.0.0\nb 1.0.0");
    const Lockfile lockfile{1, {locked("a", "2.0.0"), locked("b", "1.0.0"), locked("a", "1.0.0")}};
    EXPECT_EQ(resolved(source, projectWith("b:* a:*"), &lockfile), "a 1.0.0\nb 1.0.0\n");
}

TEST(Resolver, conflictsWithALockedVersionNameTheProjectAsRequirer) {
    Universe source("a 1.0.0\nb 1.0.0 a:^2");
    const Lockfile lockfile{1, {locked("a", "1.0.0")}};
    EXPECT_EQ(resolved(source, projectWith("a:* b:*"), &lockfile),
              "error: dependency conflict for 'a':\n"
              "  app requires: a * (selected: 1.0.0)\n"
              "  b requires: a ^2\n"
              "No compatible version was found.");
}

TEST(Resolver, choosesSourceAndChecksumOfALockedPackage) {
    struct Row {
        std::string name;
        std::string lockedSource;
        std::string lockedChecksum;
        std::string metadataSource;
        std::string metadataChecksum;
        std::string source;
        std::string checksum;
    };
    const std::vector<Row> rows{
        {"registry", "registry+x", "sha256:1", "registry+y", "sha256:2", "registry+x", "sha256:1"},
        {"local", "local+x", "sha256:1", "registry+y", "sha256:2", "registry+y", "sha256:1"},
        {"local, none known", "local+x", "sha256:1", "", "sha256:2", "local+x", "sha256:1"},
        {"local not in front", "xlocal+", "sha256:1", "registry+y", "", "xlocal+", "sha256:1"},
        {"empty source", "", "sha256:1", "registry+y", "sha256:2", "", "sha256:1"},
        {"mock", "r", "sha256:mock1", "r", "sha256:2", "r", "sha256:2"},
        {"mock anywhere", "r", "xmocky", "r", "sha256:2", "r", "sha256:2"},
        {"mock, none known", "r", "sha256:mock1", "r", "", "r", "sha256:mock1"},
        {"no checksum", "r", "", "r", "sha256:2", "r", "sha256:2"},
        {"no checksum anywhere", "r", "", "r", "", "r", ""},
    };
    for (const Row& row : rows) {
        Universe source("a 1.0.0");
        source.described["a 1.0.0"].source = row.metadataSource;
        source.described["a 1.0.0"].checksum = row.metadataChecksum;
        const Lockfile lockfile{1, {locked("a", "1.0.0", row.lockedSource, row.lockedChecksum)}};
        const Resolution resolution =
            Resolver::resolve(source, projectWith("a:*"), &lockfile, true);
        EXPECT_EQ(resolution.packages.find("a")->source, row.source) << row.name;
        EXPECT_EQ(resolution.packages.find("a")->checksum, row.checksum) << row.name;
    }
}

TEST(Resolver, asksEveryQuestionAtMostOnce) {
    Universe source("a 3.0.0 x:^1\na 2.0.0 x:^1\na 1.0.0\nb 2.0.0 x:^2\nb 1.0.0 x:^2\n"
                    "x 1.0.0\nx 2.0.0");
    EXPECT_EQ(resolved(source, projectWith("a:* b:*")), "a 1.0.0\nb 2.0.0\nx 2.0.0\n");
    for (const auto& [question, count] : source.questions) {
        EXPECT_EQ(count, 1) << question;
    }
}

// Numbers beyond 64 bits cannot be compared.
constexpr const char* incomparable = ">=1.0.0-99999999999999999999999";

TEST(Resolver, throwsForAVersionThatCannotBeComparedWhenTheQueueComesToIt) {
    const std::string needs = std::string("n:") + incomparable;
    EXPECT_THROW(resolvedIn("n 1.0.0-5", needs), std::out_of_range);
    EXPECT_THROW(resolvedIn("n 1.0.0-5\na 2.0.0 " + needs + "\na 1.0.0", "n:>=1.0.0-0 a:*"),
                 std::out_of_range);
    EXPECT_THROW(resolvedIn("a 2.0.0 " + needs + "\na 1.0.0\nn 2.0.0\nn 1.0.0-5", "a:*"),
                 std::out_of_range);
    EXPECT_THROW(resolvedIn("n 1.0.0-5\nn 1.0.0-99999999999999999999999", "n:*"),
                 std::out_of_range);
}

TEST(Resolver, doesNotThrowForAVersionThatCannotBeComparedBehindAnotherFailure) {
    const std::string needs = std::string("n:") + incomparable;
    EXPECT_EQ(resolvedIn("n 1.0.0-5\na 2.0.0 gone:* " + needs + "\na 1.0.0", "n:>=1.0.0-0 a:*"),
              "n 1.0.0-5\na 1.0.0\n");
    EXPECT_EQ(resolvedIn("n 1.0.0-5\na 2.0.0 gone:* " + needs, "n:>=1.0.0-0 a:*"),
              "error: package 'gone' was not found in registry or local sources");
}

TEST(Resolver, passesErrorsOfTheSourceThrough) {
    class Broken : public IPackageSource {
        std::vector<Version> availableVersions(const std::string&) override {
            throw std::runtime_error("broken");
        }
        VersionMetadata versionMetadata(const std::string&, const Version&) override { return {}; }
    };
    Broken source;
    EXPECT_THROW(static_cast<void>(Resolver::resolve(source, projectWith("a:*"), nullptr, true)),
                 std::runtime_error);
}

/// p0 needs p1 needs p2 ... up to `length` packages of one version each.
class Chain : public IPackageSource {
public:
    explicit Chain(std::size_t packages) : length(packages) {}

    std::vector<Version> availableVersions(const std::string& /*name*/) override {
        return {Version{1, 0, 0, {}, {}}};
    }

    VersionMetadata versionMetadata(const std::string& name, const Version& /*version*/) override {
        VersionMetadata metadata;
        metadata.found = true;
        const std::size_t next = std::stoul(name.substr(1)) + 1;
        if (next < length) {
            DependencySpec spec;
            spec.name = "p" + std::to_string(next);
            metadata.dependencies.assign(spec.name, spec);
        }
        return metadata;
    }

private:
    std::size_t length;
};

TEST(Resolver, resolvesAChainOfAHundredThousandPackages) {
    Chain source(100000);
    const Resolution resolution = Resolver::resolve(source, projectWith("p0:*"), nullptr, true);
    EXPECT_EQ(resolution.packages.size(), 100001U);
}

} // namespace
} // namespace mos
