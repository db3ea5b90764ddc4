#include "server/protocol/documents.h"

#include <gtest/gtest.h>

#include "registry/registry_replies.h"

namespace mos::server {
namespace {

const std::vector<std::string> keys{"name",        "latest",  "versions", "license",
                                    "description", "version", "checksum", "dependencies",
                                    "constraint",  "error"};

TEST(Documents, APackageIsReadByItsKeys) {
    EXPECT_EQ(packageDocument({"json", "1.1.0", "Documents", "MIT", {"1.0.0", "1.1.0"}}),
              "{\"name\":\"json\",\"latest\":\"1.1.0\",\"versions\":[\"1.0.0\",\"1.1.0\"],"
              "\"license\":\"MIT\",\"description\":\"Documents\"}\n");
}

TEST(Documents, APackageIsReadRightlyWhateverItIsCalledAndSaysOfItself) {
    for (const std::string& name : keys) {
        for (const std::string& license : keys) {
            for (const std::string& description : keys) {
                const auto read = parsePackageInfo(
                    packageDocument({name, "1.0.0", description, license, {"0.9.0", "1.0.0"}}));
                const std::string title = name + " " + license + " " + description;
                EXPECT_EQ(read.name, name) << title;
                EXPECT_EQ(read.latest, "1.0.0") << title;
                EXPECT_EQ(read.license, license) << title;
                EXPECT_EQ(read.versions, (std::vector<std::string>{"0.9.0", "1.0.0"})) << title;
                EXPECT_TRUE(read.description == description ||
                            read.description == description + ".")
                    << title << ": " << read.description;
            }
        }
    }
}

TEST(Documents, ASearchResultIsReadRightlyWhateverItIsCalledAndSaysOfItself) {
    for (const std::string& name : keys) {
        for (const std::string& description : keys) {
            const std::string one = searchDocument({name, "1.0.0", description, "MIT", {"1.0.0"}});
            const auto read = parseSearchResults(searchResults(std::vector{one, one}));
            ASSERT_EQ(read.size(), 2U);
            EXPECT_EQ(read[1].name, name);
            EXPECT_EQ(read[1].latest.to_string(), "1.0.0") << name << " " << description;
            EXPECT_TRUE(read[1].description == description ||
                        read[1].description == description + ".");
        }
    }
}

TEST(Documents, AVersionIsReadRightlyWhateverItAndItsDependenciesAreCalled) {
    const std::string digest(64, 'a');
    for (const std::string& name : keys) {
        PackageRecord record{name, {1, 2, 3, {}, {}}, "", "", {}};
        for (const std::string& dependency : keys) {
            record.dependencies.push_back({dependency, "^1.0"});
        }
        const std::string document = versionDocument(record, digest);
        EXPECT_EQ(parseChecksum(document), "sha256:" + digest) << name;
        const auto dependencies = parseDependencies(document);
        ASSERT_EQ(dependencies.size(), keys.size()) << name;
        for (const auto& entry : dependencies) {
            EXPECT_EQ(entry.value.constraint.to_string(), "^1.0") << name << " " << entry.key;
        }
    }
}

TEST(Documents, TheVersionsOfAPackageAreReadBack) {
    const std::vector<std::string> versions{"1.0.0", "2.0.0-rc.1"};
    EXPECT_EQ(versionsDocument(versions), "[\"1.0.0\",\"2.0.0-rc.1\"]\n");
    EXPECT_EQ(parseVersions(versionsDocument(versions)).size(), 2U);
    EXPECT_EQ(versionsDocument({}), "[]\n");
}

TEST(Documents, AnErrorIsOneLineWithoutEscapes) {
    EXPECT_EQ(errorDocument("no \"a\\b\"\n"), "{\"error\":\"no 'a/b'\"}\n");
    EXPECT_EQ(describeFailure(errorDocument("name taken"), 409), "name taken");
}

TEST(Documents, ALoginIsReadByItsKeys) {
    EXPECT_EQ(loginDocument("mos_x", "email", "a@b"),
              "{\"cliToken\":\"mos_x\",\"username\":\"email\",\"email\":\"a@b\"}\n");
}

} // namespace
} // namespace mos::server
