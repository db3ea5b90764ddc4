#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>

#include "server/protocol/documents.h"

namespace mos::server {

/// A file that is sent as the body of a reply.
struct ReplyFile {
    std::filesystem::path path;
    std::uint64_t size = 0;
};

/// A reply to a request, without what only concerns the connection.
struct Reply {
    unsigned status = 200;
    std::string body;              ///< JSON, unless there is a file
    std::optional<ReplyFile> file; ///< sent as bytes of no particular kind
    std::string allow;             ///< the Allow line of a reply with status 405
    int retryAfter = 0;            ///< seconds, 0 for no such line
    std::string account;           ///< who asked, where that is known; for the access log
};

[[nodiscard]] inline Reply errorReply(unsigned status, std::string_view reason) {
    Reply reply;
    reply.status = status;
    reply.body = errorDocument(reason);
    return reply;
}

} // namespace mos::server
