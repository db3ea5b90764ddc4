#include "server/store/packages.h"

#include <gtest/gtest.h>
#include <sodium.h>

#include "server/store/data_directory.h"
#include "temporary_directory.h"

namespace mos::server {
namespace {

class PackagesTest : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_GE(sodium_init(), 0);
        prepareDataDirectory(data);
        database.emplace(data.database());
        for (const char* const name : {"you", "other"}) {
            ASSERT_EQ(addUser(*database, name, std::string(name) + "@x.example", "long enough"),
                      "");
        }
        you = *findUser(*database, "you");
        other = *findUser(*database, "other@X.example");
    }

    PublishVerdict::Kind publish(const Account& account, const std::string& name,
                                 const std::string& version, char digest = 'a') {
        const PackageRecord record{name, *Version::parse(version), "About " + version, "MIT", {}};
        return addVersion(*database, account, record, {std::string(64, digest), 5}).kind;
    }

    std::string versions(const std::string& name) {
        return findDocument(*database, name, DocumentKind::Versions).value_or("none");
    }

    test::TemporaryDirectory directory;
    DataDirectory data{directory.path() / "data"};
    std::optional<Database> database;
    Account you;
    Account other;
};

using Kind = PublishVerdict::Kind;

TEST_F(PackagesTest, APublicationIsJudgedByWhatIsThere) {
    EXPECT_EQ(publish(you, "my-json", "1.0.0"), Kind::New);
    EXPECT_EQ(publish(you, "my-json", "1.0.0"), Kind::Same);
    EXPECT_EQ(publish(you, "my-json", "1.0.0", 'b'), Kind::Conflict);
    EXPECT_EQ(publish(other, "my-json", "1.0.0"), Kind::NotOwner);
    EXPECT_EQ(publish(other, "my-json", "1.1.0"), Kind::NotOwner);
    EXPECT_EQ(publish(you, "my_json", "1.0.0"), Kind::NameTaken);
    EXPECT_EQ(versions("my-json"), "[\"1.0.0\"]\n");
    EXPECT_EQ(versions("my_json"), "none");
}

TEST_F(PackagesTest, TheHighestReleaseSpeaksForThePackage) {
    for (const char* const version : {"1.9.0", "2.0.0-rc.1", "1.10.0"}) {
        ASSERT_EQ(publish(you, "json", version), Kind::New);
    }
    EXPECT_EQ(findDocument(*database, "json", DocumentKind::Package),
              "{\"name\":\"json\",\"latest\":\"1.10.0\",\"versions\":[\"1.9.0\",\"1.10.0\","
              "\"2.0.0-rc.1\"],\"license\":\"MIT\",\"description\":\"About 1.10.0\"}\n");
}

TEST_F(PackagesTest, APreReleaseSpeaksForAPackageWithoutReleases) {
    publish(you, "json", "1.0.0-beta");
    publish(you, "json", "1.0.0-alpha");
    EXPECT_EQ(search(*database, "JSON", 10).at(0),
              "{\"name\":\"json\",\"latest\":\"1.0.0-beta\",\"description\":\"About 1.0.0-beta\"}");
}

TEST_F(PackagesTest, YankingIsUndone) {
    publish(you, "json", "1.0.0");
    EXPECT_EQ(setYanked(*database, "json", "1.0.0", true), YankResult::Done);
    EXPECT_EQ(setYanked(*database, "json", "1.0.0", true), YankResult::Unchanged);
    EXPECT_EQ(versions("json"), "[]\n");
    EXPECT_TRUE(search(*database, "", 10).empty());
    EXPECT_EQ(setYanked(*database, "json", "1.0.0", false), YankResult::Done);
    EXPECT_EQ(versions("json"), "[\"1.0.0\"]\n");
    EXPECT_EQ(setYanked(*database, "json", "2.0.0", true), YankResult::NotFound);
    EXPECT_EQ(setYanked(*database, "nope", "1.0.0", true), YankResult::NotFound);
}

TEST_F(PackagesTest, DocumentsAreTheSameWhenTheyAreMadeAnew) {
    publish(you, "json", "1.0.0");
    publish(you, "text", "1.0.0");
    ASSERT_EQ(setYanked(*database, "text", "1.0.0", true), YankResult::Done);
    const auto json = findPackage(*database, "json");
    const auto text = findPackage(*database, "text");
    rewriteDocuments(*database);
    EXPECT_EQ(findPackage(*database, "json")->packageDocument, json->packageDocument);
    EXPECT_EQ(findPackage(*database, "json")->versions.at(0).document,
              json->versions.at(0).document);
    EXPECT_EQ(findPackage(*database, "text")->versionsDocument, text->versionsDocument);
}

TEST_F(PackagesTest, ASearchTakesItsWordsLiterally) {
    publish(you, "json", "1.0.0");
    EXPECT_EQ(search(*database, "%", 10).size(), 0U);
    EXPECT_EQ(search(*database, "_", 10).size(), 0U);
    EXPECT_EQ(search(*database, "about 1.0", 10).size(), 1U);
    EXPECT_EQ(search(*database, "' OR 1", 10).size(), 0U);
}

} // namespace
} // namespace mos::server
