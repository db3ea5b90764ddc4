#pragma once

#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "registry/http_transport.h"
#include "registry/package_registry.h"

namespace mos {

/// What a login brought. `error` is empty on success.
struct LoginResult {
    std::string token;
    std::string username;
    std::string email;
    std::string error;
};

/// A package registry over HTTP. Every call is one request (search: up to two). Names, versions,
/// queries and credentials go into paths and bodies as they are, without encoding or escaping.
class RemoteRegistry final : public IRegistry {
public:
    /// `baseUrl` is cut at its first "#" and loses every trailing "/"; the default registry is
    /// taken when nothing is left. An `offline` registry sends nothing. `httpTransport` is
    /// borrowed.
    RemoteRegistry(std::string_view baseUrl, bool offline, IHttpTransport& httpTransport);

    /// Sends one request below the base URL. An empty content type or token is not sent.
    [[nodiscard]] HttpResponse request(const std::string& method, const std::string& path,
                                       std::string body, const std::string& contentType,
                                       const std::string& token);
    [[nodiscard]] HttpResponse get(const std::string& path);

    [[nodiscard]] std::vector<Version> versions(const std::string& name) override;
    [[nodiscard]] VersionMetadata versionMetadata(const std::string& name,
                                                  const Version& version) override;
    [[nodiscard]] std::string registryBaseUrl() const override;
    [[nodiscard]] std::vector<SearchResult> search(const std::string& query) override;
    [[nodiscard]] std::optional<PackageInfo> info(const std::string& name) override;
    [[nodiscard]] std::string downloadUrl(const std::string& name,
                                          const Version& version) const override;
    [[nodiscard]] bool publish(const std::filesystem::path& archivePath, const std::string& token,
                               std::string& error) override;
    [[nodiscard]] bool download(const std::string& name, const Version& version,
                                DownloadFile& destination, std::string& error) override;

    /// The upload step of publish: sends the bytes of an archive. False with the reason in `error`.
    [[nodiscard]] bool upload(std::string archive, const std::string& token, std::string& error);

    /// Asks for a token. Neither argument may be empty.
    [[nodiscard]] LoginResult login(const std::string& usernameOrEmail,
                                    const std::string& password);

private:
    std::string base;
    bool isOffline;
    IHttpTransport& transport;
};

/// What makeRegistry returns, as the class it is.
[[nodiscard]] std::shared_ptr<RemoteRegistry> makeRemoteRegistry();

} // namespace mos
