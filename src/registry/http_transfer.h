#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "registry/url.h"

namespace mos {

/// One message to one server.
struct HttpMessage {
    std::string method;
    Url url;
    std::string_view body;                ///< must outlive the transfer
    std::vector<std::string> headerLines; ///< "Name: value" without line breaks, in this order
};

/// Takes the body of a reply piece by piece.
class BodyReceiver {
public:
    virtual ~BodyReceiver() = default;

    /// A transfer begins; nothing of its reply has come yet.
    virtual void begin() = 0;

    /// Takes a piece of the body of a reply with `status`; false ends the transfer. What it throws
    /// ends the transfer and is thrown by transfer().
    [[nodiscard]] virtual bool receive(int status, std::string_view piece) = 0;
};

/// How far a transfer came.
struct TransferOutcome {
    enum class Stage {
        Initialize,  ///< the client library is not there or gave no handle
        SplitUrl,    ///< the library did not take the address
        Connect,     ///< no handle for the host
        OpenRequest, ///< no handle for the request
        Send,        ///< no complete reply header arrived
        Replied,     ///< a reply arrived, its body perhaps cut short
    };
    Stage stage = Stage::Initialize;
    long errorNumber = 0;    ///< the client library's own, after Send
    int status = 0;          ///< after Replied
    std::string redirectUrl; ///< absolute; empty when the reply names none
};

/// Sends `message` with the client library of this platform (libcurl, WinINet) and hands the
/// reply's body to `receiver`. Redirects are not followed, cookies neither kept nor sent, nothing
/// is taken from a cache, no body is unpacked. Connecting takes at most 30 s; a connection that is
/// silent for 30 s is given up, like one that breaks.
[[nodiscard]] TransferOutcome transfer(const HttpMessage& message, BodyReceiver& receiver);

} // namespace mos
