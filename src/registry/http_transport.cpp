#include "registry/http_transport.h"

#include <algorithm>
#include <optional>
#include <utility>
#include <vector>

#include "platform/file_system.h"
#include "registry/http_transfer.h"
#include "registry/redirect.h"
#include "registry/transport_messages.h"
#include "registry/url.h"

namespace mos {
namespace {

constexpr int maxRedirects = 10;

/// Everything that is sent on the way to one answer.
struct Inquiry {
    TransportOperation operation;
    std::string method;
    Url url;
    std::string_view body;
    std::string contentType;
    std::string token;
    std::string_view accept;
};

struct Answer {
    int status = 0;
    std::string error; ///< empty when a reply arrived
};

std::vector<std::string> headerLines(const Inquiry& inquiry) {
    std::vector<std::string> lines;
    if (!inquiry.token.empty()) {
        lines.push_back("Authorization: Bearer " + inquiry.token);
        lines.push_back("X-Moss-Token: " + inquiry.token);
        lines.push_back("X-MOS-Token: " + inquiry.token);
    }
    if (!inquiry.contentType.empty()) {
        lines.push_back("Content-Type: " + inquiry.contentType);
    }
    lines.push_back(std::string("Accept: ").append(inquiry.accept));
    return lines;
}

/// A line break in a value would start a line of its own.
bool breaksLine(std::string_view line) {
    return line.find_first_of(std::string_view("\r\n\0", 3)) != std::string_view::npos;
}

std::string failureMessage(const Inquiry& inquiry, const TransferOutcome& outcome) {
    switch (outcome.stage) {
    case TransferOutcome::Stage::Initialize:
        return initializeMessage(inquiry.operation);
    case TransferOutcome::Stage::SplitUrl:
        return invalidUrlMessage(inquiry.operation, joinUrl(inquiry.url));
    case TransferOutcome::Stage::Connect:
        return connectMessage(inquiry.operation, inquiry.url.host);
    case TransferOutcome::Stage::OpenRequest:
        return openRequestMessage(inquiry.operation);
    case TransferOutcome::Stage::Send:
        return sendMessage(inquiry.operation, outcome.errorNumber);
    case TransferOutcome::Stage::Replied:
        break;
    }
    return {};
}

void redirectTo(Redirect redirect, Inquiry& inquiry) {
    inquiry.url = std::move(redirect.url);
    if (redirect.becomesGet) {
        inquiry.method = "GET";
        inquiry.body = {};
        inquiry.contentType.clear();
    }
    if (redirect.leavesOrigin) {
        // For good: a further redirect that leads back does not bring it back.
        inquiry.token.clear();
    }
}

/// Sends the inquiry, follows redirects, and leaves the body of the answer with `receiver`.
Answer ask(Inquiry inquiry, BodyReceiver& receiver) {
    for (int redirects = 0;; ++redirects) {
        const HttpMessage message{inquiry.method, inquiry.url, inquiry.body, headerLines(inquiry)};
        if (std::ranges::any_of(message.headerLines, breaksLine)) {
            return {0, openRequestMessage(inquiry.operation)};
        }
        const TransferOutcome outcome = transfer(message, receiver);
        if (outcome.stage != TransferOutcome::Stage::Replied) {
            return {0, failureMessage(inquiry, outcome)};
        }
        auto redirect =
            followRedirect(inquiry.method, inquiry.url, outcome.status, outcome.redirectUrl);
        if (!redirect || redirects == maxRedirects) {
            return {outcome.status, {}};
        }
        redirectTo(*std::move(redirect), inquiry);
    }
}

/// Many times what a registry has to say. A text that is longer ends there, like one that breaks
/// off: a server that never ends must not fill the memory.
constexpr std::size_t longestText = std::size_t{64} * 1024 * 1024;

/// Keeps the body in memory.
class TextReceiver final : public BodyReceiver {
public:
    explicit TextReceiver(std::string& bodyText) : body(bodyText) {}

    void begin() override { body.clear(); }

    bool receive(int, std::string_view piece) override {
        const std::size_t taken = std::min(piece.size(), longestText - body.size());
        body.append(piece.substr(0, taken));
        return taken == piece.size();
    }

private:
    std::string& body;
};

/// Streams the body of a reply with status 200 into the destination; opens it when the first piece
/// comes.
class FileReceiver final : public BodyReceiver {
public:
    enum class State { Closed, Open, Busy, CannotOpen, CannotWrite };

    explicit FileReceiver(DownloadFile& file) : destination(file) {}

    [[nodiscard]] State state() const { return current; }

    void begin() override { current = State::Closed; }

    bool receive(int status, std::string_view piece) override {
        if (status != 200) {
            return false;
        }
        if (current == State::Closed) {
            open();
        }
        if (current != State::Open) {
            return false;
        }
        if (!destination.write(std::as_bytes(std::span(piece)))) {
            current = State::CannotWrite;
        }
        return current == State::Open;
    }

    /// The reply is over: one without a body gives an empty file.
    void finish() {
        if (current == State::Closed) {
            open();
        }
    }

    /// Waits for the process that holds the destination; the transfer must then begin again.
    void wait() {
        const auto result = destination.waitAndOpen();
        current = result == DownloadFile::OpenResult::Opened ? State::Closed : State::CannotOpen;
    }

private:
    void open() {
        if (const auto directory = destination.path().parent_path(); !directory.empty()) {
            createDirectories(directory);
        }
        switch (destination.open()) {
        case DownloadFile::OpenResult::Opened:
            current = State::Open;
            break;
        case DownloadFile::OpenResult::Busy:
            current = State::Busy;
            break;
        case DownloadFile::OpenResult::Failed:
            current = State::CannotOpen;
            break;
        }
    }

    DownloadFile& destination;
    State current = State::Closed;
};

class HttpTransport final : public IHttpTransport {
public:
    HttpResponse request(const HttpRequest& request) override;
    bool download(const std::string& url, DownloadFile& destination, std::string& error) override;
};

HttpResponse HttpTransport::request(const HttpRequest& request) {
    constexpr auto operation = TransportOperation::Request;
    HttpResponse response;
    const auto url = splitUrl(request.url);
    if (!url) {
        response.error = invalidUrlMessage(operation, request.url);
        return response;
    }
    TextReceiver receiver(response.body);
    Answer answer = ask({operation, request.method, *url, request.body, request.contentType,
                         request.token, "application/json, text/plain, */*"},
                        receiver);
    response.status = answer.status;
    response.error = std::move(answer.error);
    return response;
}

bool HttpTransport::download(const std::string& url, DownloadFile& destination,
                             std::string& error) {
    constexpr auto operation = TransportOperation::Download;
    const auto address = splitUrl(url);
    if (!address) {
        error = invalidUrlMessage(operation, url);
        return false;
    }
    const Inquiry inquiry{operation, "GET", *address, {}, {}, {}, "application/octet-stream, */*"};
    FileReceiver receiver(destination);
    do {
        Answer answer = ask(inquiry, receiver);
        if (!answer.error.empty()) {
            error = std::move(answer.error);
            return false;
        }
        if (answer.status != 200) {
            error = downloadStatusMessage(answer.status);
            return false;
        }
        receiver.finish();
        if (receiver.state() != FileReceiver::State::Busy) {
            break;
        }
        // Waiting with the reply half read would let the server give up on it.
        receiver.wait();
    } while (receiver.state() == FileReceiver::State::Closed);

    if (receiver.state() == FileReceiver::State::CannotOpen) {
        error = openDestinationMessage(destination.path());
    } else if (receiver.state() == FileReceiver::State::CannotWrite) {
        error = writeDestinationMessage(destination.path());
    }
    return receiver.state() == FileReceiver::State::Open;
}

} // namespace

IHttpTransport& httpTransport() {
    static HttpTransport transport;
    return transport;
}

} // namespace mos
