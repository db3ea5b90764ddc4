#include "registry/http_transfer.h"

#include <algorithm>
#include <chrono>
#include <exception>
#include <memory>
#include <optional>
#include <utility>

#include <strings.h>

#include "platform/environment.h"
#include "registry/curl_connections_posix.h"
#include "registry/curl_library_posix.h"

namespace mos {
namespace {

using Clock = std::chrono::steady_clock;

constexpr long connectSeconds = 30;
constexpr std::chrono::seconds longestSilence(30);

/// What the header of a reply and the lines behind its last chunk may come to, in bytes. The
/// library keeps them all in memory.
constexpr std::size_t longestHeader = std::size_t{1024} * 1024;

/// Notices when a connection brings and takes nothing for too long. The library itself offers only
/// a limit on the average speed, which a slow server would miss although it goes on sending.
class SilenceWatch {
public:
    /// From here on silence counts; before, the time limit for connecting holds.
    void connected() {
        isConnected = true;
        heard();
    }

    void heard() { lastHeard = Clock::now(); }

    /// Takes how many bytes have come and gone so far; false when the silence lasts too long.
    [[nodiscard]] bool goesOn(curl_off_t down, curl_off_t up) {
        if (down != bytesDown || up != bytesUp) {
            bytesDown = down;
            bytesUp = up;
            heard();
        }
        silent = isConnected && Clock::now() - lastHeard >= longestSilence;
        return !silent;
    }

    [[nodiscard]] bool hasGivenUp() const { return silent; }

private:
    Clock::time_point lastHeard;
    curl_off_t bytesDown = 0;
    curl_off_t bytesUp = 0;
    bool isConnected = false;
    bool silent = false;
};

/// What the library's calls back into this program work on.
struct ReplyState {
    const CurlLibrary& curl;
    CURL* handle;
    BodyReceiver& receiver;
    int status = 0;                      ///< of the final reply; 0 until its header is complete
    std::optional<std::string> location; ///< where that header leads to
    std::size_t headerLength = 0;
    std::exception_ptr thrown;
    SilenceWatch silence;
};

int responseCode(const ReplyState& reply) {
    long code = 0;
    static_cast<void>(reply.curl.easyGetinfo(reply.handle, CURLINFO_RESPONSE_CODE, &code));
    return static_cast<int>(code);
}

/// The value of a header line (RFC 9112, section 5); nothing when it is not that of `name`.
std::optional<std::string_view> headerValue(std::string_view line, std::string_view name) {
    if (line.size() <= name.size() || line[name.size()] != ':' ||
        ::strncasecmp(line.data(), name.data(), name.size()) != 0) {
        return std::nullopt;
    }
    line.remove_prefix(name.size() + 1);
    constexpr std::string_view blanks = " \t\r\n";
    line.remove_prefix(std::min(line.find_first_not_of(blanks), line.size()));
    return line.substr(0, line.find_last_not_of(blanks) + 1);
}

/// Takes a line of the reply's header. The library has an idea of its own of where a redirect
/// leads, and only once the whole body is there.
void takeHeaderLine(ReplyState& reply, std::string_view line) {
    if (line.starts_with("HTTP/")) {
        reply.location.reset();
    } else if (const auto value = headerValue(line, "Location"); value && !reply.location) {
        reply.location = *value;
    } else if (line == "\r\n" || line == "\n") {
        const int code = responseCode(reply);
        // Codes below 200 announce another header.
        reply.status = code >= 200 ? code : 0;
    }
}

/// What `take` says, false when it throws: an exception must not fly through the library's own
/// frames.
template<typename Take>
bool keepingException(ReplyState& reply, const Take& take) {
    try {
        return take();
    } catch (...) {
        reply.thrown = std::current_exception();
        return false;
    }
}

std::size_t onHeaderLine(char* data, std::size_t, std::size_t length, void* context) {
    ReplyState& reply = *static_cast<ReplyState*>(context);
    reply.silence.heard();
    reply.headerLength += length;
    const bool taken = reply.headerLength <= longestHeader && keepingException(reply, [&] {
                           if (reply.status == 0) {
                               takeHeaderLine(reply, std::string_view(data, length));
                           }
                           return true;
                       });
    return taken ? length : 0;
}

std::size_t onBody(char* data, std::size_t, std::size_t length, void* context) {
    ReplyState& reply = *static_cast<ReplyState*>(context);
    const bool taken = keepingException(reply, [&] {
        return reply.receiver.receive(reply.status, std::string_view(data, length));
    });
    return taken ? length : 0;
}

int onConnected(void* context, char*, char*, int, int) {
    static_cast<ReplyState*>(context)->silence.connected();
    return CURL_PREREQFUNC_OK;
}

int onProgress(void* context, curl_off_t, curl_off_t down, curl_off_t, curl_off_t up) {
    return static_cast<ReplyState*>(context)->silence.goesOn(down, up) ? 0 : 1;
}

using EasyHandle = std::unique_ptr<CURL, decltype(&curl_easy_cleanup)>;
using HeaderList = std::unique_ptr<curl_slist, decltype(&curl_slist_free_all)>;

/// The options of one handle, one function for each kind of value the library takes.
class Options {
public:
    Options(const CurlLibrary& library, CURL* easyHandle) : curl(library), handle(easyHandle) {}

    [[nodiscard]] bool text(CURLoption option, const std::string& value) const {
        return curl.easySetopt(handle, option, value.c_str()) == CURLE_OK;
    }
    void number(CURLoption option, long value) const {
        static_cast<void>(curl.easySetopt(handle, option, value));
    }
    void size(CURLoption option, std::size_t value) const {
        static_cast<void>(curl.easySetopt(handle, option, static_cast<curl_off_t>(value)));
    }
    void pointer(CURLoption option, const void* value) const {
        static_cast<void>(curl.easySetopt(handle, option, value));
    }
    template<typename Function>
    void function(CURLoption option, Function* value) const {
        static_cast<void>(curl.easySetopt(handle, option, value));
    }

private:
    const CurlLibrary& curl;
    CURL* handle;
};

/// The line in the library's own notation, which has a semicolon where a value is blank: without
/// it such a line is left out.
std::string inNotation(const std::string& line) {
    const std::size_t colon = line.find(':');
    const bool isBlank = line.find_first_not_of(" \t", colon + 1) == std::string::npos;
    return isBlank ? line.substr(0, colon) + ";" : line;
}

/// Null when there is no memory for the lines.
HeaderList makeHeaderList(const CurlLibrary& curl, const std::vector<std::string>& lines) {
    HeaderList list(nullptr, curl.slistFreeAll);
    bool complete = true;
    const auto append = [&](const char* line) {
        curl_slist* const longer = curl.slistAppend(list.get(), line);
        complete = complete && longer != nullptr;
        if (longer != nullptr) {
            static_cast<void>(list.release());
            list.reset(longer);
        }
    };
    for (const std::string& line : lines) {
        append(inNotation(line).c_str());
    }
    // A name without a value keeps the library from sending its own line of that name. Accept is
    // always among the lines.
    append("Expect:");
    const auto named = [](std::string_view line) { return line.starts_with("Content-Type:"); };
    if (std::ranges::none_of(lines, named)) {
        append("Content-Type:");
    }
    return complete ? std::move(list) : HeaderList(nullptr, curl.slistFreeAll);
}

void setBehaviour(const Options& options, CURLSH* share) {
    options.pointer(CURLOPT_SHARE, share);
    options.number(CURLOPT_NOSIGNAL, 1);
    options.number(CURLOPT_HTTP_VERSION, CURL_HTTP_VERSION_1_1);
    options.number(CURLOPT_CONNECTTIMEOUT, connectSeconds);
    // A proxy's own reply to CONNECT is no reply of the server.
    options.number(CURLOPT_SUPPRESS_CONNECT_HEADERS, 1);
    static_cast<void>(options.text(CURLOPT_USERAGENT, "mos-client/1.0"));
}

void setMessage(const Options& options, const HttpMessage& message, const HeaderList& headers) {
    options.pointer(CURLOPT_HTTPHEADER, headers.get());
    if (message.method == "POST" || !message.body.empty()) {
        options.size(CURLOPT_POSTFIELDSIZE_LARGE, message.body.size());
        // Without a pointer the library would ask for the body piece by piece.
        options.pointer(CURLOPT_POSTFIELDS, message.body.empty() ? "" : message.body.data());
    }
    static_cast<void>(options.text(CURLOPT_CUSTOMREQUEST, message.method));
}

/// Whether the library may send a plain request to a proxy, by the variables it looks at.
bool mayGoToProxy(const Url& url) {
    const auto isGiven = [](const char* name) {
        return !environmentVariable(name).value_or("").empty();
    };
    return url.scheme == UrlScheme::Http &&
           (isGiven("http_proxy") || isGiven("all_proxy") || isGiven("ALL_PROXY"));
}

/// libcurl encodes bytes beyond ASCII in a path, though not in a query. A target that is given
/// apart from the URL goes out as it is.
void keepBytesOfPath(const Options& options, const Url& url) {
    const auto isBeyondAscii = [](char c) { return static_cast<unsigned char>(c) >= 0x80; };
    // A proxy must be told the whole address, and the library keeps its bytes there. Where a host
    // is asked past the proxy, the path is encoded: that is the same address.
    if (std::ranges::any_of(url.path.substr(0, url.path.find('?')), isBeyondAscii) &&
        !mayGoToProxy(url)) {
        static_cast<void>(options.text(CURLOPT_REQUEST_TARGET, url.path));
    }
}

void setReply(const Options& options, ReplyState& reply) {
    options.function(CURLOPT_HEADERFUNCTION, onHeaderLine);
    options.pointer(CURLOPT_HEADERDATA, &reply);
    options.function(CURLOPT_WRITEFUNCTION, onBody);
    options.pointer(CURLOPT_WRITEDATA, &reply);
    options.function(CURLOPT_PREREQFUNCTION, onConnected);
    options.pointer(CURLOPT_PREREQDATA, &reply);
    options.function(CURLOPT_XFERINFOFUNCTION, onProgress);
    options.pointer(CURLOPT_XFERINFODATA, &reply);
    options.number(CURLOPT_NOPROGRESS, 0);
}

/// How the one transfer that the library is doing ended.
CURLcode resultOf(const CurlLibrary& curl, CURLM* multi) {
    int left = 0;
    while (const CURLMsg* const message = curl.multiInfoRead(multi, &left)) {
        if (message->msg == CURLMSG_DONE) {
            return message->data.result;
        }
    }
    return CURLE_FAILED_INIT;
}

/// Does what the handle says. The library's own function for that would make everything below the
/// handle anew for every call but the connection.
CURLcode perform(const CurlLibrary& curl, CURLM* multi, CURL* handle) {
    constexpr int longestWait = 1000; // milliseconds: the silence is looked at in between
    if (curl.multiAddHandle(multi, handle) != CURLM_OK) {
        return CURLE_FAILED_INIT;
    }
    int running = 1;
    CURLMcode state = CURLM_OK;
    while (state == CURLM_OK && running > 0) {
        state = curl.multiPerform(multi, &running);
        if (state == CURLM_OK && running > 0) {
            state = curl.multiPoll(multi, nullptr, 0, longestWait, nullptr);
        }
    }
    const CURLcode result = state == CURLM_OK ? resultOf(curl, multi) : CURLE_OUT_OF_MEMORY;
    static_cast<void>(curl.multiRemoveHandle(multi, handle));
    return result;
}

} // namespace

TransferOutcome transfer(const HttpMessage& message, BodyReceiver& receiver) {
    using Stage = TransferOutcome::Stage;
    receiver.begin();
    const CurlLibrary* const library = curlLibrary();
    if (library == nullptr) {
        return {Stage::Initialize, 0, 0, {}};
    }
    const CurlLibrary& curl = *library;

    // The list must outlive the handle.
    const HeaderList headers = makeHeaderList(curl, message.headerLines);
    const EasyHandle handle(curl.easyInit(), curl.easyCleanup);
    CURLM* const multi = curlConnections(curl);
    if (!handle || multi == nullptr) {
        return {Stage::Initialize, 0, 0, {}};
    }
    const Options options(curl, handle.get());
    if (!options.text(CURLOPT_URL, joinUrl(message.url))) {
        return {Stage::SplitUrl, 0, 0, {}};
    }
    if (!headers) {
        return {Stage::OpenRequest, 0, 0, {}};
    }
    ReplyState reply{curl, handle.get(), receiver, 0, {}, 0, nullptr, {}};
    setBehaviour(options, curl.share);
    setMessage(options, message, headers);
    keepBytesOfPath(options, message.url);
    setReply(options, reply);
    watchConnections(curl, handle.get());

    CURLcode result = perform(curl, multi, handle.get());
    if (reply.silence.hasGivenUp()) {
        result = CURLE_OPERATION_TIMEDOUT;
    }
    if (reply.thrown) {
        std::rethrow_exception(reply.thrown);
    }
    if (reply.status == 0) {
        // The library is content with a header that breaks off.
        const CURLcode reason = result == CURLE_OK ? CURLE_WEIRD_SERVER_REPLY : result;
        return {Stage::Send, static_cast<long>(reason), 0, {}};
    }
    return {Stage::Replied, 0, reply.status,
            resolveReference(message.url, reply.location.value_or(""))};
}

} // namespace mos
