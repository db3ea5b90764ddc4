#include "registry/remote_registry.h"

#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/file_replacement.h"
#include "registry/default_registry.h"
#include "scripted_transport.h"
#include "temporary_directory.h"

namespace mos {
namespace {

using test::ScriptedTransport;
using test::TemporaryDirectory;
using testing::ElementsAre;
using testing::IsEmpty;

const Version version123{1, 2, 3, {}, {}};
const std::string offlineText = "Cannot access registry in offline mode.";

/// Base URL http://r.
class Registry : public testing::Test {
protected:
    ScriptedTransport transport;
    RemoteRegistry registry{"http://r", false, transport};
    RemoteRegistry offline{"http://r", true, transport};
    TemporaryDirectory directory;

    std::filesystem::path archive(const std::string& content) const {
        const auto path = directory.path() / "a-1.0.0.mos";
        EXPECT_TRUE(replaceFile(path, content));
        return path;
    }
};

std::string baseUrlOf(std::string_view text) {
    ScriptedTransport transport;
    return RemoteRegistry(text, false, transport).registryBaseUrl();
}

TEST(BaseUrl, LosesTrailingSlashesAndEverythingFromTheFirstHash) {
    EXPECT_EQ(baseUrlOf("http://r"), "http://r");
    EXPECT_EQ(baseUrlOf("http://r///"), "http://r");
    EXPECT_EQ(baseUrlOf("http://r/#packages"), "http://r");
    EXPECT_EQ(baseUrlOf("http://r/x/#a#b/"), "http://r/x");
    EXPECT_EQ(baseUrlOf(" not a url "), " not a url ");
}

TEST(BaseUrl, IsTheDefaultOneWhenNothingIsLeft) {
    EXPECT_EQ(baseUrlOf(""), defaultRegistryUrl());
    EXPECT_EQ(baseUrlOf("#packages"), defaultRegistryUrl());
    EXPECT_EQ(baseUrlOf("///"), defaultRegistryUrl());
}

TEST_F(Registry, APathGetsASlashOnlyWhenItNeedsOne) {
    EXPECT_EQ(registry.get("/a").status, 404);
    EXPECT_EQ(registry.get("a").status, 404);
    EXPECT_EQ(registry.get("").status, 404);
    EXPECT_THAT(transport.lines(), ElementsAre("GET http://r/a", "GET http://r/a", "GET http://r"));
}

TEST_F(Registry, ARequestIsHandedOnWhole) {
    EXPECT_EQ(registry.request("POST", "/a", "body", "type", "token").status, 404);
    ASSERT_EQ(transport.requests.size(), 1U);
    EXPECT_EQ(transport.requests[0].body, "body");
    EXPECT_EQ(transport.requests[0].contentType, "type");
    EXPECT_EQ(transport.requests[0].token, "token");
}

TEST_F(Registry, OfflineNothingIsSent) {
    const HttpResponse response = offline.get("/a");
    EXPECT_EQ(response.status, 0);
    EXPECT_EQ(response.error, offlineText);
    EXPECT_THAT(offline.versions("a"), IsEmpty());
    EXPECT_FALSE(offline.info("a"));
    EXPECT_FALSE(offline.versionMetadata("a", version123).found);
    EXPECT_THAT(offline.search("a"), IsEmpty());
    EXPECT_THAT(transport.lines(), IsEmpty());
}

TEST_F(Registry, VersionsAreAskedForByName) {
    transport.replies["GET http://r/api/v1/packages/a/versions"] = {200, R"(["1.2.3"])", ""};
    EXPECT_THAT(registry.versions("a"), ElementsAre(version123));
    EXPECT_THAT(registry.availableVersions("a"), ElementsAre(version123));
}

TEST_F(Registry, VersionsAreNoneWithAnotherStatus) {
    transport.replies["GET http://r/api/v1/packages/a/versions"] = {201, R"(["1.2.3"])", ""};
    EXPECT_THAT(registry.versions("a"), IsEmpty());
}

TEST_F(Registry, NamesAreNotEncoded) {
    EXPECT_THAT(registry.versions("a b/../c?d"), IsEmpty());
    EXPECT_THAT(transport.lines(), ElementsAre("GET http://r/api/v1/packages/a b/../c?d/versions"));
}

TEST_F(Registry, MetadataNamesTheRegistryAsItsSource) {
    transport.replies["GET http://r/api/v1/packages/a/1.2.3"] = {
        200, R"({"checksum":"abc","dependencies":[{"name":"b","constraint":"^1.0"}]})", ""};
    const VersionMetadata metadata = registry.versionMetadata("a", version123);
    EXPECT_TRUE(metadata.found);
    EXPECT_EQ(metadata.source, "registry+http://r");
    EXPECT_EQ(metadata.checksum, "sha256:abc");
    ASSERT_EQ(metadata.dependencies.size(), 1U);
    EXPECT_EQ(metadata.dependencies.begin()->key, "b");
}

TEST_F(Registry, MetadataNeedsStatus200AndABody) {
    auto& reply = transport.replies["GET http://r/api/v1/packages/a/1.2.3"];
    reply = {200, "", ""};
    EXPECT_FALSE(registry.versionMetadata("a", version123).found);
    reply = {404, "{}", ""};
    EXPECT_FALSE(registry.versionMetadata("a", version123).found);
    reply = {200, "{}", ""};
    EXPECT_TRUE(registry.versionMetadata("a", version123).found);
}

TEST_F(Registry, InfoNeedsStatus200AndABody) {
    auto& reply = transport.replies["GET http://r/api/v1/packages/a"];
    reply = {200, "", ""};
    EXPECT_FALSE(registry.info("a"));
    reply = {500, R"({"name":"a"})", ""};
    EXPECT_FALSE(registry.info("a"));
    reply = {200, R"({"name":"a"})", ""};
    EXPECT_EQ(registry.info("a")->name, "a");
}

TEST_F(Registry, ASearchThatIsAnsweredAsksOnce) {
    transport.replies["GET http://r/api/v1/packages?q=a b"] = {200, R"([{"name":"a"}])", ""};
    EXPECT_EQ(registry.search("a b").size(), 1U);
    EXPECT_EQ(transport.requests.size(), 1U);
}

TEST_F(Registry, AnEmptyListIsAnAnswerToASearch) {
    transport.replies["GET http://r/api/v1/packages?q=a"] = {200, "[]", ""};
    EXPECT_THAT(registry.search("a"), IsEmpty());
    EXPECT_EQ(transport.requests.size(), 1U);
}

TEST_F(Registry, ASearchFallsBackToTheSecondEndpoint) {
    auto& first = transport.replies["GET http://r/api/v1/packages?q=a"];
    transport.replies["GET http://r/api/v1/search?q=a"] = {200, R"([{"name":"a"}])", ""};
    for (const HttpResponse& reply :
         {HttpResponse{404, "", ""}, HttpResponse{200, "", ""}, HttpResponse{0, "", "broken"}}) {
        first = reply;
        EXPECT_EQ(registry.search("a").size(), 1U) << reply.status;
    }
    EXPECT_EQ(transport.requests.size(), 6U);
}

TEST_F(Registry, ASearchThatBothEndpointsRefuseIsEmpty) {
    EXPECT_THAT(registry.search("a"), IsEmpty());
    EXPECT_THAT(transport.lines(),
                ElementsAre("GET http://r/api/v1/packages?q=a", "GET http://r/api/v1/search?q=a"));
}

TEST_F(Registry, DownloadUrlHoldsTheWholeVersion) {
    EXPECT_EQ(registry.downloadUrl("a", {1, 2, 3, {"rc", "1"}, "b"}),
              "http://r/api/v1/packages/a/1.2.3-rc.1+b/download");
}

TEST_F(Registry, ADownloadGoesToTheTransport) {
    DownloadFile destination(directory.path() / "d");
    std::string error;
    EXPECT_TRUE(registry.download("a", version123, destination, error));
    EXPECT_THAT(transport.downloads,
                ElementsAre(testing::Pair("http://r/api/v1/packages/a/1.2.3/download",
                                          (directory.path() / "d").string())));
}

TEST_F(Registry, AFailedDownloadKeepsTheTransportsText) {
    DownloadFile destination(directory.path() / "d");
    transport.downloadError = "broken";
    std::string error;
    EXPECT_FALSE(registry.download("a", version123, destination, error));
    EXPECT_EQ(error, "broken");
}

TEST_F(Registry, OfflineNothingIsDownloaded) {
    DownloadFile destination(directory.path() / "d");
    std::string error;
    EXPECT_FALSE(offline.download("a", version123, destination, error));
    EXPECT_EQ(error, "Cannot download package in offline mode.");
    EXPECT_THAT(transport.downloads, IsEmpty());
}

TEST_F(Registry, ALoginSendsItsValuesUnescaped) {
    EXPECT_EQ(registry.login("al\"ice", "se\\cret").error, "HTTP 404");
    ASSERT_EQ(transport.requests.size(), 1U);
    const HttpRequest& request = transport.requests[0];
    EXPECT_EQ(request.method + " " + request.url, "POST http://r/api/v1/auth/login");
    EXPECT_EQ(request.body, R"({"usernameOrEmail":"al"ice","password":"se\cret"})");
    EXPECT_EQ(request.contentType, "application/json");
    EXPECT_EQ(request.token, "");
}

TEST_F(Registry, ALoginPrefersTheCliToken) {
    transport.replies["POST http://r/api/v1/auth/login"] = {
        200, R"({"token":"t","cliToken":"c","user":{"username":"alice","email":"a@h"}})", ""};
    const LoginResult login = registry.login("alice", "secret");
    EXPECT_EQ(login.error, "");
    EXPECT_EQ(login.token, "c");
    EXPECT_EQ(login.username, "alice");
    EXPECT_EQ(login.email, "a@h");
}

TEST_F(Registry, ALoginTakesTheTokenWhenThereIsNoCliToken) {
    transport.replies["POST http://r/api/v1/auth/login"] = {200, R"({"token":"t"})", ""};
    const LoginResult login = registry.login("alice", "secret");
    EXPECT_EQ(login.error, "");
    EXPECT_EQ(login.token, "t");
    EXPECT_EQ(login.username, "");
}

TEST_F(Registry, ALoginWithoutTokenIsInvalid) {
    transport.replies["POST http://r/api/v1/auth/login"] = {200, R"({"username":"alice"})", ""};
    EXPECT_EQ(registry.login("alice", "secret").error,
              "Invalid login response: authentication token missing.");
}

TEST_F(Registry, ALoginNeedsBothValues) {
    for (const auto& [username, password] :
         {std::pair{"", "secret"}, std::pair{"alice", ""}, std::pair{"", ""}}) {
        EXPECT_EQ(registry.login(username, password).error,
                  "Username and password cannot be empty.");
    }
    EXPECT_THAT(transport.lines(), IsEmpty());
}

TEST_F(Registry, ARefusedLoginSaysWhy) {
    auto& reply = transport.replies["POST http://r/api/v1/auth/login"];
    reply = {401, R"({"error":"wrong password"})", ""};
    EXPECT_EQ(registry.login("alice", "secret").error, "wrong password");
    reply = {201, R"({"token":"t"})", ""};
    EXPECT_EQ(registry.login("alice", "secret").error, R"({"token":"t"})");
}

TEST_F(Registry, ALoginWithoutReplySaysWhatTheTransportSays) {
    transport.replies["POST http://r/api/v1/auth/login"] = {0, "", "broken"};
    EXPECT_EQ(registry.login("alice", "secret").error, "broken");
    EXPECT_EQ(offline.login("alice", "secret").error, offlineText);
}

TEST_F(Registry, PublishSendsTheBytesOfTheArchive) {
    const std::string bytes("PK\0\r\n", 5);
    std::string error;
    transport.replies["POST http://r/api/v1/packages/publish"] = {201, "", ""};
    EXPECT_TRUE(registry.publish(archive(bytes), "t", error)) << error;
    ASSERT_EQ(transport.requests.size(), 1U);
    EXPECT_EQ(transport.requests[0].body, bytes);
    EXPECT_EQ(transport.requests[0].contentType, "application/octet-stream");
    EXPECT_EQ(transport.requests[0].token, "t");
}

TEST_F(Registry, PublishSucceedsWith200And201Alone) {
    const auto path = archive("x");
    auto& reply = transport.replies["POST http://r/api/v1/packages/publish"];
    std::string error;
    for (const auto& [status, succeeds] :
         {std::pair{200, true}, std::pair{201, true}, std::pair{202, false}, std::pair{204, false},
          std::pair{409, false}}) {
        reply.status = status;
        EXPECT_EQ(registry.publish(path, "t", error), succeeds) << status;
    }
    EXPECT_EQ(error, "HTTP 409");
}

TEST_F(Registry, ARefusedPublishSaysWhy) {
    transport.replies["POST http://r/api/v1/packages/publish"] = {409, R"({"error":"name taken"})",
                                                                  ""};
    std::string error;
    EXPECT_FALSE(registry.publish(archive("x"), "t", error));
    EXPECT_EQ(error, "name taken");
}

TEST_F(Registry, APublishWithoutReplySaysWhatTheTransportSays) {
    transport.replies["POST http://r/api/v1/packages/publish"] = {0, "", "broken"};
    std::string error;
    EXPECT_FALSE(registry.publish(archive("x"), "t", error));
    EXPECT_EQ(error, "broken");
}

TEST_F(Registry, PublishNeedsAnArchiveWithContent) {
    std::string error;
    const auto missing = directory.path() / "missing.mos";
    EXPECT_FALSE(registry.publish(missing, "t", error));
    EXPECT_EQ(error, "Could not open archive to publish: " + missing.string());
    const auto empty = archive("");
    EXPECT_FALSE(registry.publish(empty, "t", error));
    EXPECT_EQ(error, "Package archive is empty: " + empty.string());
    EXPECT_THAT(transport.lines(), IsEmpty());
}

// Deliberate: the two texts about a missing token differ.
TEST_F(Registry, PublishAndUploadWordAMissingTokenDifferently) {
    std::string error;
    EXPECT_FALSE(registry.publish(directory.path() / "missing.mos", "", error));
    EXPECT_EQ(error, "Authentication token missing. Please run 'mos login' or supply "
                     "'--token <token>' / set MOS_TOKEN.");
    EXPECT_FALSE(registry.upload("x", "", error));
    EXPECT_EQ(error,
              "Authentication token missing. Please run 'mos login' or pass '--token <token>'.");
    EXPECT_THAT(transport.lines(), IsEmpty());
}

TEST_F(Registry, OfflinePublishReadsTheArchiveFirst) {
    std::string error;
    const auto missing = directory.path() / "missing.mos";
    EXPECT_FALSE(offline.publish(missing, "t", error));
    EXPECT_EQ(error, "Could not open archive to publish: " + missing.string());
    EXPECT_FALSE(offline.publish(archive("x"), "t", error));
    EXPECT_EQ(error, "Cannot publish package in offline mode.");
    EXPECT_FALSE(offline.upload("x", "", error));
    EXPECT_EQ(error, "Cannot publish package in offline mode.");
    EXPECT_THAT(transport.lines(), IsEmpty());
}

} // namespace
} // namespace mos
