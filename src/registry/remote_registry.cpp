#include "registry/remote_registry.h"

#include <utility>

#include "platform/file_system.h"
#include "registry/default_registry.h"
#include "registry/registry_replies.h"
#include "registry/transport_messages.h"
#include "store/json_string.h"

namespace mos {
namespace {

std::string normalizedBaseUrl(std::string_view text) {
    text = text.substr(0, text.find('#'));
    while (text.ends_with('/')) {
        text.remove_suffix(1);
    }
    return text.empty() ? defaultRegistryUrl() : std::string(text);
}

std::string packagePath(const std::string& name) {
    return "/api/v1/packages/" + name;
}

std::string versionPath(const std::string& name, const Version& version) {
    return packagePath(name) + "/" + version.to_string();
}

/// Whether `response` can be looked into.
bool hasContent(const HttpResponse& response) {
    return response.status == 200 && !response.body.empty();
}

/// Why a request that was not granted was not: the transport's own text when no reply came.
std::string failureText(const HttpResponse& response) {
    return response.error.empty() ? describeFailure(response.body, response.status)
                                  : response.error;
}

} // namespace

RemoteRegistry::RemoteRegistry(std::string_view baseUrl, bool offline,
                               IHttpTransport& httpTransport)
    : base(normalizedBaseUrl(baseUrl)), isOffline(offline), transport(httpTransport) {}

HttpResponse RemoteRegistry::request(const std::string& method, const std::string& path,
                                     std::string body, const std::string& contentType,
                                     const std::string& token) {
    if (isOffline) {
        return {0, {}, offlineMessage(TransportOperation::Request)};
    }
    const bool needsSlash = !path.empty() && path.front() != '/';
    return transport.request(
        {method, base + (needsSlash ? "/" : "") + path, std::move(body), contentType, token});
}

HttpResponse RemoteRegistry::get(const std::string& path) {
    return request("GET", path, {}, {}, {});
}

std::vector<Version> RemoteRegistry::versions(const std::string& name) {
    const HttpResponse response = get(packagePath(name) + "/versions");
    return response.status == 200 ? parseVersions(response.body) : std::vector<Version>();
}

VersionMetadata RemoteRegistry::versionMetadata(const std::string& name, const Version& version) {
    const HttpResponse response = get(versionPath(name, version));
    if (!hasContent(response)) {
        return {};
    }
    return {true, "registry+" + base, parseChecksum(response.body),
            parseDependencies(response.body)};
}

std::string RemoteRegistry::registryBaseUrl() const {
    return base;
}

std::vector<SearchResult> RemoteRegistry::search(const std::string& query) {
    const HttpResponse first = get("/api/v1/packages?q=" + query);
    if (hasContent(first)) {
        return parseSearchResults(first.body);
    }
    const HttpResponse second = get("/api/v1/search?q=" + query);
    return second.status == 200 ? parseSearchResults(second.body) : std::vector<SearchResult>();
}

std::optional<PackageInfo> RemoteRegistry::info(const std::string& name) {
    const HttpResponse response = get(packagePath(name));
    if (!hasContent(response)) {
        return std::nullopt;
    }
    return parsePackageInfo(response.body);
}

std::string RemoteRegistry::downloadUrl(const std::string& name, const Version& version) const {
    return base + versionPath(name, version) + "/download";
}

bool RemoteRegistry::publish(const std::filesystem::path& archivePath, const std::string& token,
                             std::string& error) {
    if (token.empty()) {
        error = "Authentication token missing. Please run 'mos login' or supply "
                "'--token <token>' / set MOS_TOKEN.";
        return false;
    }
    auto archive = readFile(archivePath);
    if (!archive) {
        error = "Could not open archive to publish: " + archivePath.string();
        return false;
    }
    if (archive->empty()) {
        error = "Package archive is empty: " + archivePath.string();
        return false;
    }
    return upload(*std::move(archive), token, error);
}

bool RemoteRegistry::upload(std::string archive, const std::string& token, std::string& error) {
    if (isOffline) {
        error = "Cannot publish package in offline mode.";
        return false;
    }
    if (token.empty()) {
        // Deliberate: not the text of publish.
        error = "Authentication token missing. Please run 'mos login' or pass '--token <token>'.";
        return false;
    }
    const HttpResponse response = request("POST", "/api/v1/packages/publish", std::move(archive),
                                          "application/octet-stream", token);
    if (response.status == 200 || response.status == 201) {
        return true;
    }
    error = failureText(response);
    return false;
}

bool RemoteRegistry::download(const std::string& name, const Version& version,
                              DownloadFile& destination, std::string& error) {
    if (isOffline) {
        error = offlineMessage(TransportOperation::Download);
        return false;
    }
    return transport.download(downloadUrl(name, version), destination, error);
}

LoginResult RemoteRegistry::login(const std::string& usernameOrEmail, const std::string& password) {
    LoginResult result;
    if (usernameOrEmail.empty() || password.empty()) {
        result.error = "Username and password cannot be empty.";
        return result;
    }
    const HttpResponse response = request("POST", "/api/v1/auth/login",
                                          R"({"usernameOrEmail":")" + usernameOrEmail +
                                              R"(","password":")" + password + R"("})",
                                          "application/json", {});
    if (response.status != 200) {
        result.error = failureText(response);
        return result;
    }
    result.token = extractJsonString(response.body, "cliToken");
    if (result.token.empty()) {
        result.token = extractJsonString(response.body, "token");
    }
    result.username = extractJsonString(response.body, "username");
    result.email = extractJsonString(response.body, "email");
    if (result.token.empty()) {
        result.error = "Invalid login response: authentication token missing.";
    }
    return result;
}

} // namespace mos
