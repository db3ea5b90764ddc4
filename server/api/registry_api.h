#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "server/api/database_pool.h"
#include "server/api/login_throttle.h"
#include "server/api/reply.h"
#include "server/package/archive_rules.h"
#include "server/protocol/route.h"
#include "server/store/accounts.h"
#include "server/store/data_directory.h"
#include "server/store/stored_file.h"

namespace mos::server {

/// What the beginning of a request says.
struct RequestHead {
    std::string method;
    std::string target;
    std::string token;   ///< empty when none was sent
    std::string address; ///< of the client, for slowing log-ins down and for the log
};

/// An upload in progress, of an account that may publish.
struct Upload {
    Upload(Account publisher, const std::filesystem::path& directory, std::atomic<int>& count);
    ~Upload();
    Upload(const Upload&) = delete;
    Upload& operator=(const Upload&) = delete;

    Account account;
    IncomingFile file;

private:
    std::atomic<int>& uploadCount;
};

/// The registry's HTTP API without HTTP. Every member may be called by several threads. What the
/// disk or the database refuses is a reply with status 500, and a line for `reportError`.
class RegistryApi {
public:
    struct Options {
        ArchiveLimits archive;
        int uploads = 32; ///< at a time
    };

    RegistryApi(DataDirectory directory, const Options& limits);

    /// The reply to a request that is answered without its body: a look-up, or a refusal. Nothing
    /// when the body of a login or a publication has to be read first.
    [[nodiscard]] std::optional<Reply> answer(const RequestHead& head, const Route& route);

    /// The reply to a login. Takes a moment and 64 MiB of memory on purpose.
    [[nodiscard]] Reply login(const std::string& body, const std::string& address);

    /// Begins a publication, or refuses it by what its beginning says.
    [[nodiscard]] std::unique_ptr<Upload> beginUpload(const RequestHead& head, Reply& refusal);

    /// Checks, stores and shows what was uploaded. Waits for the disk.
    [[nodiscard]] Reply publish(Upload& upload);

    [[nodiscard]] std::uint64_t uploadLimit() const noexcept { return options.archive.bytes; }

private:
    Reply lookUp(const Route& route);
    Reply tryLogin(const std::string& body, const std::string& address);
    Reply tryPublish(Upload& upload);
    Reply store(Database& database, Upload& upload, const PackageRecord& record);

    DataDirectory data;
    Options options;
    DatabasePool databases;
    LoginThrottle throttle;
    std::mutex writing;
    std::atomic<int> uploads = 0;
};

} // namespace mos::server
