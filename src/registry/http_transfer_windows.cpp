#include "registry/http_transfer.h"

#include <array>
#include <limits>
#include <optional>
#include <utility>

#include "registry/wininet_library_windows.h"

namespace mos {
namespace {

constexpr DWORD longestSilence = 30'000; // milliseconds

/// How long the library may take to send a body: what it takes for silence is the time of the
/// whole. At 16 KiB a second nobody's upload is cut off.
DWORD longestSending(std::size_t bodySize) {
    constexpr std::size_t bytesPerMillisecond = 16;
    return longestSilence + static_cast<DWORD>(bodySize / bytesPerMillisecond);
}

/// A handle of the library, closed when it goes.
class InternetHandle {
public:
    InternetHandle(const WininetLibrary& library, HINTERNET internetHandle)
        : wininet(library), handle(internetHandle) {}
    ~InternetHandle() {
        if (handle != nullptr) {
            static_cast<void>(wininet.closeHandle(handle));
        }
    }
    InternetHandle(const InternetHandle&) = delete;
    InternetHandle& operator=(const InternetHandle&) = delete;

    [[nodiscard]] bool isOpen() const { return handle != nullptr; }
    [[nodiscard]] HINTERNET get() const { return handle; }

private:
    const WininetLibrary& wininet;
    HINTERNET handle;
};

/// An address as the library takes it apart.
struct Address {
    bool isSecure;
    std::string host;
    INTERNET_PORT port;
    std::string path;
};

std::optional<Address> crackUrl(const WininetLibrary& wininet, const std::string& url) {
    std::array<char, 32> scheme{};
    std::array<char, 256> host{};
    std::array<char, 8192> path{}; // of 2,047 characters each blank becomes three
    URL_COMPONENTSA parts{};
    parts.dwStructSize = sizeof(parts);
    parts.lpszScheme = scheme.data();
    parts.dwSchemeLength = static_cast<DWORD>(scheme.size());
    parts.lpszHostName = host.data();
    parts.dwHostNameLength = static_cast<DWORD>(host.size());
    parts.lpszUrlPath = path.data();
    parts.dwUrlPathLength = static_cast<DWORD>(path.size());
    if (wininet.crackUrl(url.c_str(), static_cast<DWORD>(url.size()), 0, &parts) == FALSE) {
        return std::nullopt;
    }
    return Address{parts.nScheme == INTERNET_SCHEME_HTTPS, host.data(), parts.nPort, path.data()};
}

DWORD requestFlags(bool isSecure) {
    constexpr DWORD noCache = INTERNET_FLAG_RELOAD | INTERNET_FLAG_NO_CACHE_WRITE;
    // Left to itself the library follows redirects without end, takes the token to every server
    // they lead to, and brings cookies of earlier runs.
    constexpr DWORD nothingUnasked =
        INTERNET_FLAG_NO_AUTO_REDIRECT | INTERNET_FLAG_NO_COOKIES | INTERNET_FLAG_NO_UI;
    return noCache | nothingUnasked | (isSecure ? INTERNET_FLAG_SECURE : 0U);
}

void limitSilence(const WininetLibrary& wininet, const InternetHandle& request,
                  std::size_t bodySize) {
    const std::array<std::pair<DWORD, DWORD>, 3> limits{{
        {INTERNET_OPTION_CONNECT_TIMEOUT, longestSilence},
        {INTERNET_OPTION_SEND_TIMEOUT, longestSending(bodySize)},
        {INTERNET_OPTION_RECEIVE_TIMEOUT, longestSilence},
    }};
    for (auto [option, limit] : limits) {
        static_cast<void>(wininet.setOption(request.get(), option, &limit, sizeof(limit)));
    }
}

std::string headerBlock(const HttpMessage& message) {
    std::string block;
    for (const std::string& line : message.headerLines) {
        block.append(line).append("\r\n");
    }
    return block;
}

bool send(const WininetLibrary& wininet, const InternetHandle& request,
          const HttpMessage& message) {
    const std::string headers = headerBlock(message);
    // The library only reads the body, though it asks for the right to write.
    void* const body = message.body.empty() ? nullptr : const_cast<char*>(message.body.data());
    return wininet.sendRequest(request.get(), headers.c_str(), static_cast<DWORD>(headers.size()),
                               body, static_cast<DWORD>(message.body.size())) != FALSE;
}

/// 0 when the reply has none.
int replyStatus(const WininetLibrary& wininet, const InternetHandle& request) {
    DWORD status = 0;
    DWORD length = sizeof(status);
    static_cast<void>(wininet.queryInfo(
        request.get(), HTTP_QUERY_STATUS_CODE | HTTP_QUERY_FLAG_NUMBER, &status, &length, nullptr));
    return static_cast<int>(status);
}

/// The Location line of the reply; empty without one.
std::string location(const WininetLibrary& wininet, const InternetHandle& request) {
    // More than any address that splitUrl takes. The length that a first call without room asks
    // for is not to be trusted: where the code page is UTF-8 it may count characters.
    std::array<char, 8192> value{};
    auto length = static_cast<DWORD>(value.size());
    if (wininet.queryInfo(request.get(), HTTP_QUERY_LOCATION, value.data(), &length, nullptr) ==
            FALSE ||
        length > value.size()) {
        return {};
    }
    return {value.data(), length};
}

void readBody(const WininetLibrary& wininet, const InternetHandle& request, int status,
              BodyReceiver& receiver) {
    std::array<char, 8192> buffer{};
    for (;;) {
        DWORD length = 0;
        // A read that fails ends the body like its end does, after what it still brought.
        const bool isRead = wininet.readFile(request.get(), buffer.data(),
                                             static_cast<DWORD>(buffer.size()), &length) != FALSE;
        if (length == 0 || !receiver.receive(status, std::string_view(buffer.data(), length)) ||
            !isRead) {
            return;
        }
    }
}

} // namespace

TransferOutcome transfer(const HttpMessage& message, BodyReceiver& receiver) {
    using Stage = TransferOutcome::Stage;
    receiver.begin();
    const WininetLibrary* const library = wininetLibrary();
    if (library == nullptr) {
        return {Stage::Initialize, 0, 0, {}};
    }
    const WininetLibrary& wininet = *library;
    const std::string url = joinUrl(message.url);
    const auto address = crackUrl(wininet, url);
    if (!address) {
        return {Stage::SplitUrl, 0, 0, {}};
    }
    const InternetHandle session(
        wininet, wininet.open("mos-client/1.0", INTERNET_OPEN_TYPE_PRECONFIG, nullptr, nullptr, 0));
    if (!session.isOpen()) {
        return {Stage::Initialize, 0, 0, {}};
    }
    const InternetHandle connection(wininet, wininet.connect(session.get(), address->host.c_str(),
                                                             address->port, nullptr, nullptr,
                                                             INTERNET_SERVICE_HTTP, 0, 0));
    if (!connection.isOpen()) {
        return {Stage::Connect, 0, 0, {}};
    }
    const InternetHandle request(wininet,
                                 wininet.openRequest(connection.get(), message.method.c_str(),
                                                     address->path.c_str(), nullptr, nullptr,
                                                     nullptr, requestFlags(address->isSecure), 0));
    if (!request.isOpen() || message.body.size() > std::numeric_limits<DWORD>::max()) {
        return {Stage::OpenRequest, 0, 0, {}};
    }
    limitSilence(wininet, request, message.body.size());
    if (!send(wininet, request, message)) {
        return {Stage::Send, static_cast<long>(GetLastError()), 0, {}};
    }
    const int status = replyStatus(wininet, request);
    readBody(wininet, request, status, receiver);
    return {Stage::Replied, 0, status, resolveReference(message.url, location(wininet, request))};
}

} // namespace mos
