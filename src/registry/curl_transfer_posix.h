#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "registry/curl_library_posix.h"
#include "registry/url.h"

namespace mos {

/// One message to one server.
struct CurlMessage {
    std::string method;
    Url url;
    std::string_view body;                ///< must outlive the transfer
    std::vector<std::string> headerLines; ///< "Name: value", sent in this order
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
        Initialize,  ///< no handle could be made
        Connect,     ///< the handle did not take the address
        OpenRequest, ///< the header lines could not be made
        Send,        ///< no complete reply header arrived
        Replied,     ///< a reply arrived, its body perhaps cut short
    };
    Stage stage = Stage::Initialize;
    long errorNumber = 0;    ///< of libcurl, after Send
    int status = 0;          ///< after Replied
    std::string redirectUrl; ///< absolute; empty when the reply names none
};

/// Sends `message` and hands the reply's body to `receiver`. Redirects are not followed.
[[nodiscard]] TransferOutcome transfer(const CurlLibrary& curl, const CurlMessage& message,
                                       BodyReceiver& receiver);

} // namespace mos
