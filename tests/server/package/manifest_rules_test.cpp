#include "server/package/manifest_rules.h"

#include <gtest/gtest.h>

namespace mos::server {
namespace {

std::string refusalOfVersion(const std::string& version) {
    return readPublishedManifest("[package]\nname = \"a\"\nversion = \"" + version + "\"\n")
        .refusal;
}

TEST(ManifestRules, TakeWhatReadersAreTold) {
    const auto reading =
        readPublishedManifest("[package]\nname = \"json\"\nversion = \"1.2.3-rc.1\"\n"
                              "description = \"Text\"\nlicense = \"MIT\"\n"
                              "[dependencies]\ntext = \" ^1.2 \"\nlog = {}\n");
    ASSERT_TRUE(reading.record);
    EXPECT_EQ(reading.record->name, "json");
    EXPECT_EQ(reading.record->version.to_string(), "1.2.3-rc.1");
    EXPECT_EQ(reading.record->description, "Text");
    EXPECT_EQ(reading.record->license, "MIT");
    EXPECT_EQ(reading.record->dependencies,
              (std::vector<Dependency>{{"text", "^1.2"}, {"log", "*"}}));
}

TEST(ManifestRules, AVersionIsPublishedUnderItsCanonicalText) {
    const auto reading =
        readPublishedManifest("[package]\nname = \"json\"\nversion = \"v01.2.3\"\n");
    ASSERT_TRUE(reading.record);
    EXPECT_EQ(reading.record->version.to_string(), "1.2.3");
}

TEST(ManifestRules, VersionsThatCouldBeMistakenAreRefused) {
    EXPECT_EQ(refusalOfVersion("1.0.0-rc.10"), "");
    EXPECT_EQ(refusalOfVersion("1.0.0-rc.01"), "the version '1.0.0-rc.01' cannot be published");
    EXPECT_EQ(refusalOfVersion("1.0.0-a..b"), "the version '1.0.0-a..b' cannot be published");
    EXPECT_EQ(refusalOfVersion("1.0.0-a b"), "the version '1.0.0-a b' cannot be published");
    EXPECT_EQ(refusalOfVersion("1.0.0+x"), "build metadata cannot be published: 1.0.0+x");
    EXPECT_NE(refusalOfVersion("1.0.0-" + std::string(60, 'a')), "");
}

TEST(ManifestRules, OtherTablesOfDependenciesAreNotHandedOut) {
    const auto reading = readPublishedManifest("[package]\nname = \"json\"\n[dev-dependencies]\n"
                                               "text = { path = \"../text\" }\n");
    ASSERT_TRUE(reading.record);
    EXPECT_TRUE(reading.record->dependencies.empty());
}

TEST(ManifestRules, NamesFoldToOneSpelling) {
    EXPECT_EQ(foldedName("My_Json-2"), "my-json-2");
}

} // namespace
} // namespace mos::server
