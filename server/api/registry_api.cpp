#include "server/api/registry_api.h"

#include <algorithm>
#include <chrono>

#include "server/api/client_network.h"
#include "server/log/error_log.h"
#include "server/package/manifest_rules.h"
#include "server/protocol/login_body.h"
#include "server/protocol/paths.h"
#include "server/store/packages.h"
#include "server/store/public_files.h"

namespace mos::server {
namespace {

Reply documentReply(std::string document) {
    Reply reply;
    reply.body = std::move(document);
    return reply;
}

Reply notFound() {
    return errorReply(404, notFoundReason);
}

Reply documentOrNotFound(std::optional<std::string> document) {
    return document ? documentReply(*std::move(document)) : notFound();
}

Reply failure(const std::exception& error) {
    reportError(error.what());
    return errorReply(500, "the registry has a problem of its own; try again later");
}

bool isRead(std::string_view method) {
    return method == "GET" || method == "HEAD";
}

Reply notStored(const StoreError& error) {
    reportError(error.what());
    return errorReply(507, "the upload could not be stored");
}

Reply wait(std::chrono::seconds seconds) {
    Reply reply = errorReply(429, "too many failed log-ins; try again in " +
                                      std::to_string(seconds.count()) + " s");
    reply.retryAfter = static_cast<int>(seconds.count());
    return reply;
}

Reply published(unsigned status, const PackageRecord& record, std::string_view digest) {
    Reply reply = documentReply(publishedDocument(record.name, record.version.to_string(), digest));
    reply.status = status;
    return reply;
}

/// Whether the version is there once its archive and its row are.
bool isStored(const PublishVerdict& verdict) {
    return verdict.kind == PublishVerdict::Kind::New || verdict.kind == PublishVerdict::Kind::Same;
}

Reply verdictReply(const PublishVerdict& verdict, const PackageRecord& record,
                   std::string_view digest) {
    using Kind = PublishVerdict::Kind;
    const std::string title = record.name + " " + record.version.to_string();
    switch (verdict.kind) {
    case Kind::New:
        return published(201, record, digest);
    case Kind::Same:
        return published(200, record, digest);
    case Kind::Conflict:
        return errorReply(409, title + " is published already, with other content");
    case Kind::VersionTaken:
        return errorReply(409, title + " differs only by case from the version " + verdict.other);
    case Kind::NotOwner:
        return errorReply(403, "the package '" + record.name + "' belongs to somebody else");
    case Kind::NameTaken:
        break;
    }
    return errorReply(409, "the name '" + record.name + "' is too close to that of the package '" +
                               verdict.other + "'");
}

} // namespace

Upload::Upload(Account publisher, const std::filesystem::path& directory, std::atomic<int>& count)
    : account(std::move(publisher)), file(directory), uploadCount(count) {
    ++uploadCount;
}

Upload::~Upload() {
    --uploadCount;
}

RegistryApi::RegistryApi(DataDirectory directory, const Options& limits)
    : data(std::move(directory)), options(limits), databases(data.database()) {}

std::optional<Reply> RegistryApi::answer(const RequestHead& head, const Route& route) {
    const bool isWriting = route.resource == Resource::Login || route.resource == Resource::Publish;
    if (route.resource == Resource::Nothing) {
        return notFound();
    }
    if (isWriting ? head.method != "POST" : !isRead(head.method)) {
        Reply reply = errorReply(405, "this address does not know the method");
        reply.allow = allowedMethods(route);
        return reply;
    }
    if (isWriting) {
        return std::nullopt;
    }
    try {
        return lookUp(route);
    } catch (const std::exception& error) {
        return failure(error);
    }
}

Reply RegistryApi::lookUp(const Route& route) {
    const auto database = databases.take();
    switch (route.resource) {
    case Resource::Package:
        return documentOrNotFound(findDocument(*database, route.name, DocumentKind::Package));
    case Resource::Versions:
        return documentOrNotFound(findDocument(*database, route.name, DocumentKind::Versions));
    case Resource::Version:
        return documentOrNotFound(findVersionDocument(*database, route.name, route.version));
    case Resource::Search:
        return documentReply(searchResults(search(*database, route.query, mostSearchResults)));
    case Resource::Download:
        break;
    default:
        return notFound();
    }
    const auto archive = findArchive(*database, route.name, route.version);
    if (!archive) {
        return notFound();
    }
    Reply reply;
    reply.file = ReplyFile{data.archive(archive->digest), archive->size};
    return reply;
}

Reply RegistryApi::login(const std::string& body, const std::string& address) {
    try {
        return tryLogin(body, address);
    } catch (const std::exception& error) {
        return failure(error);
    }
}

Reply RegistryApi::tryLogin(const std::string& body, const std::string& address) {
    const auto login = readLoginBody(body);
    if (!login) {
        return errorReply(400, "the body is not a login");
    }
    const auto database = databases.take();
    // However the name is written, and whether it is the address instead.
    const auto account = findUser(*database, login->usernameOrEmail);
    const std::string userKey =
        "user " + (account ? account->name : login->usernameOrEmail.substr(0, 200));
    const std::string addressKey = "address " + clientNetwork(address);
    const auto now = std::chrono::steady_clock::now();
    for (const std::string& key : {addressKey, userKey}) {
        if (const auto seconds = throttle.attempt(key, now); seconds.count() > 0) {
            return wait(seconds);
        }
    }
    if (!isPasswordOf(*database, account, login->password)) {
        return errorReply(401, "wrong user name or password");
    }
    throttle.succeeded(userKey);
    throttle.succeeded(addressKey);
    const std::lock_guard turn(writing);
    Reply reply = documentReply(
        loginDocument(createToken(*database, *account, "login"), account->name, account->email));
    reply.account = account->name;
    return reply;
}

std::unique_ptr<Upload> RegistryApi::beginUpload(const RequestHead& head, Reply& refusal) {
    try {
        const auto database = databases.take();
        auto account = findTokenOwner(*database, head.token);
        if (!account) {
            refusal = errorReply(401, head.token.empty() ? "a token is needed to publish"
                                                         : "the token is unknown or was revoked");
            return nullptr;
        }
        if (uploads >= options.uploads) {
            refusal = errorReply(503, "too many uploads at a time; try again later");
            refusal.retryAfter = 5;
            return nullptr;
        }
        return std::make_unique<Upload>(*std::move(account), data.incoming(), uploads);
    } catch (const StoreError& error) {
        refusal = notStored(error);
        return nullptr;
    } catch (const std::exception& error) {
        refusal = failure(error);
        return nullptr;
    }
}

Reply RegistryApi::publish(Upload& upload) {
    Reply reply;
    try {
        reply = tryPublish(upload);
    } catch (const StoreError& error) {
        reply = notStored(error);
    } catch (const std::exception& error) {
        reply = failure(error);
    }
    reply.account = upload.account.name;
    return reply;
}

Reply RegistryApi::tryPublish(Upload& upload) {
    upload.file.finish();
    const ArchiveReading archive =
        readPublishedArchive(upload.file.path(), upload.file.digest(),
                             upload.file.path().string() + ".again", options.archive);
    if (!archive.failure.empty()) {
        throw StoreError(archive.failure);
    }
    if (!archive.refusal.empty()) {
        return errorReply(422, archive.refusal);
    }
    const ManifestReading manifest = readPublishedManifest(archive.manifest);
    if (!manifest.record) {
        return errorReply(422, manifest.refusal);
    }
    const auto database = databases.take();
    return store(*database, upload, *manifest.record);
}

Reply RegistryApi::store(Database& database, Upload& upload, const PackageRecord& record) {
    const StoredArchive archive{upload.file.digest(), upload.file.size()};
    PublishVerdict verdict = judgePublication(database, upload.account, record, archive.digest);
    if (isStored(verdict)) {
        // From here on a crash leaves a file that no version has, or the whole version. The same
        // bytes once more mend an archive that the disk has lost.
        upload.file.moveTo(data.archive(archive.digest));
        const std::lock_guard turn(writing);
        verdict = addVersion(database, upload.account, record, archive);
    }
    if (isStored(verdict)) {
        const std::lock_guard turn(writing);
        refreshPublicFiles(database, data, record.name, record.version.to_string());
    }
    return verdictReply(verdict, record, archive.digest);
}

} // namespace mos::server
