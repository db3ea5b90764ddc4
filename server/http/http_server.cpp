#include "server/http/http_server.h"

#include <fcntl.h>
#include <netinet/tcp.h>
#include <sys/resource.h>
#include <sys/sendfile.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <boost/asio/as_tuple.hpp>
#include <boost/asio/awaitable.hpp>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/detached.hpp>
#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/redirect_error.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <boost/asio/write.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/http.hpp>
#include <ctime>
#include <list>
#include <optional>
#include <span>
#include <thread>
#include <vector>

#include "server/log/error_log.h"

/// The one file that knows the HTTP library.
///
/// Every worker is a thread with a loop of its own. A connection belongs to one worker and is one
/// coroutine there, so nothing about it needs a lock. Instead of a timer for each operation a
/// connection has a deadline, and its worker looks at all deadlines four times a second. What waits
/// for the disk or hashes a password runs on a pool beside.
namespace mos::server {
namespace {

namespace asio = boost::asio;
namespace beast = boost::beast;
namespace http = beast::http;

using boost::system::error_code;
using Clock = std::chrono::steady_clock;
using Socket = asio::basic_stream_socket<asio::ip::tcp, asio::io_context::executor_type>;
using Parser = http::request_parser<http::buffer_body>;

constexpr auto tick = std::chrono::milliseconds(250);
constexpr int unsentBytes = 128 * 1024;
constexpr std::size_t chunkBytes = std::size_t{64} * 1024;
constexpr std::size_t sliceBytes = std::size_t{1024} * 1024;
constexpr std::size_t loginBytes = std::size_t{16} * 1024;
constexpr std::size_t storingThreads = 2;
constexpr std::size_t hashingThreads = 2;

enum class Phase {
    Waiting, ///< for a request, or for the rest of its header
    Reading, ///< a body
    Working, ///< nobody waits for the client
    Sending,
};

class Connection;

/// A thread and the connections that it serves.
struct Worker {
    asio::io_context context{1};
    asio::executor_work_guard<asio::io_context::executor_type> guard{context.get_executor()};
    asio::steady_timer timer{context};
    std::list<Connection*> connections; ///< the one that has waited longest first
    std::size_t closing = 0;            ///< of them, closed to make room
    bool isStopping = false;
    Clock::time_point graceEnd;
    std::thread thread;
};

[[noreturn]] void raiseNoThread(const std::system_error& error) {
    throw StoreError("cannot start a thread: " + error.code().message());
}

/// Threads that run what is given to their executor. (The library's own pool never comes back when
/// one of its threads cannot be started.)
class ThreadPool {
public:
    /// Raises StoreError when a thread cannot be started; none is left then.
    explicit ThreadPool(std::size_t count) {
        try {
            for (std::size_t i = 0; i < count; ++i) {
                threads.emplace_back([this] { context.run(); });
            }
        } catch (const std::system_error& error) {
            join();
            raiseNoThread(error);
        }
    }
    ~ThreadPool() { join(); }
    ThreadPool(const ThreadPool&) = delete;
    ThreadPool& operator=(const ThreadPool&) = delete;

    [[nodiscard]] asio::io_context::executor_type executor() noexcept {
        return context.get_executor();
    }

    /// Waits for everything that was given, and for the threads to end.
    void join() {
        guard.reset();
        for (std::thread& thread : threads) {
            thread.join();
        }
        threads.clear();
    }

private:
    asio::io_context context;
    asio::executor_work_guard<asio::io_context::executor_type> guard{context.get_executor()};
    std::vector<std::thread> threads;
};

/// What all connections share.
struct Service {
    RegistryApi& api;
    AccessLog& log;
    HttpLimits limits;
    ThreadPool storing{storingThreads};
    ThreadPool hashing{hashingThreads};
};

std::string httpDate() {
    const std::time_t now = std::time(nullptr);
    std::tm parts{};
    gmtime_r(&now, &parts);
    std::array<char, 40> text{};
    std::strftime(text.data(), text.size(), "%a, %d %b %Y %H:%M:%S GMT", &parts);
    return text.data();
}

/// The token of a request: mos sends it in three lines, and a proxy may keep the first for itself.
std::string tokenOf(const http::fields& fields) {
    constexpr std::string_view scheme = "Bearer ";
    const auto authorization = fields[http::field::authorization];
    if (authorization.size() > scheme.size() &&
        beast::iequals(authorization.substr(0, scheme.size()), {scheme.data(), scheme.size()})) {
        return std::string(authorization.substr(scheme.size()));
    }
    for (const char* const name : {"X-Moss-Token", "X-MOS-Token"}) {
        if (const auto token = fields[name]; !token.empty()) {
            return std::string(token);
        }
    }
    return {};
}

/// The address that the nearest proxy has seen; empty when it does not say.
std::string forwardedAddress(const http::fields& fields) {
    // A proxy may add a line of its own instead of extending the client's.
    std::string_view line;
    for (auto [field, end] = fields.equal_range("X-Forwarded-For"); field != end; ++field) {
        line = {field->value().data(), field->value().size()};
    }
    const std::size_t comma = line.rfind(',');
    const auto last = comma == line.npos ? line : line.substr(comma + 1);
    const std::size_t first = last.find_first_not_of(' ');
    return first == last.npos ? std::string() : std::string(last.substr(first));
}

/// An open file to send; closed with the object.
class OpenFile {
public:
    explicit OpenFile(const std::filesystem::path& path)
        : descriptor(open(path.c_str(), O_RDONLY | O_CLOEXEC)) {}
    ~OpenFile() {
        if (descriptor >= 0) {
            close(descriptor);
        }
    }
    OpenFile(const OpenFile&) = delete;
    OpenFile& operator=(const OpenFile&) = delete;

    [[nodiscard]] int get() const noexcept { return descriptor; }

private:
    int descriptor;
};

/// Keeps a socket, which the library opens without this, from programs that the process starts.
void closeOnExec(int descriptor) {
    fcntl(descriptor, F_SETFD, FD_CLOEXEC);
}

/// Why the header lines that say whom a request is for and where it ends are refused; empty when
/// they are not (RFC 9112, 3.2 and 6.1). Another server in front may read them in another way.
std::string_view refusalOfFraming(const http::request_header<>& message) {
    const auto codings = message.count(http::field::transfer_encoding);
    if (codings > 1 ||
        (codings == 1 && !beast::iequals(message[http::field::transfer_encoding], "chunked"))) {
        return "the only transfer encoding is chunked";
    }
    const auto hosts = message.count(http::field::host);
    return hosts > 1 || (hosts == 0 && message.version() >= 11) ? "one Host line is needed" : "";
}

/// Runs `work` on another pool of threads and goes on here with what it returned.
template<typename Work>
asio::awaitable<std::invoke_result_t<Work>> runOn(ThreadPool& pool, Work work) {
    using Result = std::invoke_result_t<Work>;
    auto there = [](Work task) -> asio::awaitable<Result> { co_return task(); };
    co_return co_await asio::co_spawn(pool.executor(), there(std::move(work)), asio::use_awaitable);
}

class Connection {
public:
    Connection(Service& shared, Worker& owner, Socket accepted)
        : service(shared),
          worker(owner),
          socket(std::move(accepted)),
          place(worker.connections.insert(worker.connections.end(), this)) {
        error_code ignored;
        closeOnExec(socket.native_handle());
        socket.set_option(asio::ip::tcp::no_delay(true), ignored);
        socket.native_non_blocking(true, ignored);
        // Without it the system takes megabytes at once, and a slow reader looks like one who has
        // stopped reading.
        const int unsent = unsentBytes;
        setsockopt(socket.native_handle(), IPPROTO_TCP, TCP_NOTSENT_LOWAT, &unsent, sizeof(unsent));
        const auto peer = socket.remote_endpoint(ignored);
        peerAddress = ignored ? "-" : peer.address().to_string();
        buffer.max_size(service.limits.headerBytes + chunkBytes);
    }

    ~Connection() {
        worker.connections.erase(place);
        worker.closing -= isClosing ? 1 : 0;
        if (worker.isStopping && worker.connections.empty()) {
            worker.timer.cancel();
        }
    }

    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    asio::awaitable<void> serve() {
        while (!worker.isStopping && co_await serveRequest()) {
        }
        error_code ignored;
        socket.shutdown(Socket::shutdown_both, ignored);
    }

    [[nodiscard]] bool waitsForRequest() const {
        return phase == Phase::Waiting && buffer.size() == 0;
    }

    [[nodiscard]] bool waits() const { return phase == Phase::Waiting && !isClosing; }

    [[nodiscard]] bool isLate(Clock::time_point now) const {
        return phase != Phase::Working && now >= deadline;
    }

    /// Ends the operation that is in progress.
    void interrupt() {
        isInterrupted = true;
        error_code ignored;
        socket.cancel(ignored);
    }

    void close() {
        error_code ignored;
        socket.close(ignored);
    }

    /// Closes the connection, which goes when its coroutine has noticed, and counts it as gone.
    void makeRoom() {
        isClosing = true;
        ++worker.closing;
        close();
    }

private:
    void enter(Phase next, Clock::duration time) {
        phase = next;
        deadline = Clock::now() + time;
        isInterrupted = false;
        if (next == Phase::Waiting) {
            worker.connections.splice(worker.connections.end(), worker.connections, place);
        }
    }

    /// Moves the deadline of a transfer that has come so far: it must keep up the slowest rate, and
    /// something must come or go in every span of its time.
    void progressed(Clock::time_point since, std::uint64_t bytes) {
        const auto time = service.limits.transferTime;
        const auto rate = std::max<std::uint64_t>(service.limits.slowestRate, 1);
        deadline = std::min(since + time + std::chrono::seconds(bytes / rate), Clock::now() + time);
    }

    /// Serves one request; false when the connection ends.
    asio::awaitable<bool> serveRequest() {
        Parser parser;
        parser.header_limit(static_cast<std::uint32_t>(service.limits.headerBytes));
        parser.body_limit(service.api.uploadLimit());
        enter(Phase::Waiting, service.limits.headerTime);
        error_code error;
        co_await http::async_read_header(socket, buffer, parser,
                                         asio::redirect_error(asio::use_awaitable, error));
        requestBegin = Clock::now();
        entry = AccessEntry();
        entry.address = peerAddress;
        if (error) {
            co_return co_await refuseHeader(error, parser.got_some());
        }
        co_return co_await serveMessage(parser);
    }

    /// Answers what could not be read as the beginning of a request.
    asio::awaitable<bool> refuseHeader(error_code error, bool hasBegun) {
        Reply reply;
        if (error == http::error::header_limit || error == http::error::buffer_overflow) {
            reply = errorReply(431, "the request header is too large");
        } else if (error == http::error::body_limit) {
            reply = errorReply(413, "the body is too large");
        } else if (error == asio::error::operation_aborted && isInterrupted && hasBegun) {
            reply = errorReply(408, "the request header did not arrive in time");
        } else if (error.category() == http::make_error_code(http::error::bad_method).category() &&
                   error != http::error::end_of_stream && error != http::error::partial_message) {
            reply = errorReply(400, "this is not an HTTP request");
        } else {
            co_return false;
        }
        co_return co_await refuse(reply, 11, false);
    }

    /// Sends the last reply of a connection; returns false.
    asio::awaitable<bool> refuse(const Reply& reply, unsigned version, bool isHead) {
        co_await send(reply, version, isHead, false);
        co_await drain();
        co_return false;
    }

    asio::awaitable<bool> serveMessage(Parser& parser) {
        const auto& message = parser.get();
        RequestHead head{std::string(message.method_string()), std::string(message.target()),
                         tokenOf(message), peerAddress};
        if (service.limits.isBehindProxy) {
            if (std::string address = forwardedAddress(message); !address.empty()) {
                head.address = std::move(address);
            }
        }
        entry.address = head.address;
        entry.method = head.method;
        entry.target = head.target;
        const bool keepsAlive = message.keep_alive();
        const unsigned version = message.version();
        if (const auto refusal = refusalOfFraming(message); !refusal.empty()) {
            co_return co_await refuse(errorReply(400, refusal), version, head.method == "HEAD");
        }

        const Route route = routeOf(head.method, head.target);
        std::optional<Reply> answer = service.api.answer(head, route);
        // Not one conditional expression: GCC 12 mistakes the lifetime of what co_await gives in
        // one.
        Reply reply;
        if (answer) {
            reply = *std::move(answer);
        } else if (route.resource == Resource::Login) {
            reply = co_await serveLogin(parser, head);
        } else {
            reply = co_await servePublish(parser, head);
        }
        if (!parser.is_done()) {
            // What is left of the body would be taken for the next request.
            co_return co_await refuse(reply, version, head.method == "HEAD");
        }
        const bool stays = keepsAlive && !worker.isStopping;
        const bool isSent = co_await send(reply, version, head.method == "HEAD", stays);
        co_return isSent&& stays;
    }

    /// Reads the body piece by piece. Why it did not arrive; nothing when it did.
    template<typename Sink>
    asio::awaitable<std::optional<Reply>> readBody(Parser& parser, Sink sink) {
        co_await sendContinue(parser);
        std::vector<char> chunk(chunkBytes);
        enter(Phase::Reading, service.limits.transferTime);
        const auto since = Clock::now();
        while (!parser.is_done()) {
            auto& body = parser.get().body();
            body.data = chunk.data();
            body.size = chunk.size();
            progressed(since, entry.received);
            error_code error;
            co_await http::async_read_some(socket, buffer, parser,
                                           asio::redirect_error(asio::use_awaitable, error));
            const std::size_t size = chunk.size() - body.size;
            entry.received += size;
            if (error && error != http::error::need_buffer) {
                co_return refusalOfBody(error);
            }
            if (auto refusal = sink(std::span(chunk.data(), size))) {
                co_return refusal;
            }
        }
        phase = Phase::Working;
        co_return std::nullopt;
    }

    Reply refusalOfBody(error_code error) const {
        if (error == http::error::body_limit) {
            return errorReply(413, "the body is too large");
        }
        if (error == asio::error::operation_aborted && isInterrupted) {
            return errorReply(408, "the body did not arrive in time");
        }
        return errorReply(400, "the body is broken or was cut off");
    }

    asio::awaitable<void> sendContinue(const Parser& parser) {
        if (!beast::iequals(parser.get()[http::field::expect], "100-continue")) {
            co_return;
        }
        enter(Phase::Sending, service.limits.transferTime);
        constexpr std::string_view line = "HTTP/1.1 100 Continue\r\n\r\n";
        error_code ignored;
        co_await asio::async_write(socket, asio::buffer(line.data(), line.size()),
                                   asio::redirect_error(asio::use_awaitable, ignored));
    }

    asio::awaitable<Reply> serveLogin(Parser& parser, const RequestHead& head) {
        if (parser.content_length() && *parser.content_length() > loginBytes) {
            co_return errorReply(413, "the body is too large");
        }
        std::string body;
        auto refusal =
            co_await readBody(parser, [&](std::span<const char> bytes) -> std::optional<Reply> {
                body.append(bytes.data(), bytes.size());
                return body.size() <= loginBytes
                           ? std::nullopt
                           : std::optional(errorReply(413, "the body is too large"));
            });
        if (refusal) {
            co_return *std::move(refusal);
        }
        co_return co_await runOn(service.hashing,
                                 [&] { return service.api.login(body, head.address); });
    }

    asio::awaitable<Reply> servePublish(Parser& parser, const RequestHead& head) {
        Reply refused;
        const auto upload = service.api.beginUpload(head, refused);
        if (!upload) {
            co_return refused;
        }
        entry.account = upload->account.name;
        auto refusal =
            co_await readBody(parser, [&](std::span<const char> bytes) -> std::optional<Reply> {
                try {
                    upload->file.append(std::as_bytes(bytes));
                    return std::nullopt;
                } catch (const StoreError& error) {
                    reportError(error.what());
                    return errorReply(507, "the upload could not be stored");
                }
            });
        if (refusal) {
            co_return *std::move(refusal);
        }
        co_return co_await runOn(service.storing, [&] { return service.api.publish(*upload); });
    }

    /// Sends a reply and notes it; false when it did not arrive as a whole.
    asio::awaitable<bool> send(const Reply& given, unsigned version, bool isHead, bool stays) {
        std::optional<OpenFile> file;
        const Reply* reply = &given;
        Reply missing;
        if (given.file) {
            file.emplace(given.file->path);
            if (file->get() < 0) {
                reportError("cannot open the archive " + given.file->path.string());
                missing = errorReply(500, "the registry has lost this archive");
                reply = &missing;
            }
        }
        const std::uint64_t size = reply->file ? reply->file->size : reply->body.size();
        http::response<http::string_body> message(static_cast<http::status>(reply->status),
                                                  version);
        writeHeader(message, *reply, size, stays);
        if (!isHead) {
            message.body() = reply->body;
        }
        enter(Phase::Sending, service.limits.transferTime);
        http::response_serializer<http::string_body> serializer(message);
        error_code error;
        co_await http::async_write(socket, serializer,
                                   asio::redirect_error(asio::use_awaitable, error));
        bool isSent = !error;
        entry.sent = isSent && !isHead ? reply->body.size() : 0;
        if (isSent && !isHead && reply->file) {
            isSent = co_await sendFile(file->get(), size);
        }
        noteRequest(*reply);
        co_return isSent;
    }

    static void writeHeader(http::response<http::string_body>& message, const Reply& reply,
                            std::uint64_t size, bool stays) {
        message.keep_alive(stays);
        message.set(http::field::date, httpDate());
        message.set(http::field::content_type,
                    reply.file ? "application/octet-stream" : "application/json");
        message.content_length(size);
        if (!reply.allow.empty()) {
            message.set(http::field::allow, reply.allow);
        }
        if (reply.retryAfter > 0) {
            message.set(http::field::retry_after, std::to_string(reply.retryAfter));
        }
        if (reply.status == 401) {
            message.set(http::field::www_authenticate, "Bearer");
        }
    }

    /// Lets the system copy the file into the socket.
    asio::awaitable<bool> sendFile(int file, std::uint64_t size) {
        const auto since = Clock::now();
        off_t offset = 0;
        while (static_cast<std::uint64_t>(offset) < size) {
            const auto left = size - static_cast<std::uint64_t>(offset);
            const ssize_t sent = ::sendfile(socket.native_handle(), file, &offset,
                                            std::min<std::uint64_t>(left, sliceBytes));
            entry.sent = static_cast<std::uint64_t>(offset);
            if (sent > 0) {
                if (static_cast<std::uint64_t>(offset) < size) {
                    // Others get their turn after each slice.
                    co_await asio::post(socket.get_executor(), asio::use_awaitable);
                }
                continue;
            }
            if (sent == 0 || (errno != EAGAIN && errno != EINTR)) {
                co_return false;
            }
            progressed(since, entry.sent);
            error_code error;
            co_await socket.async_wait(Socket::wait_write,
                                       asio::redirect_error(asio::use_awaitable, error));
            if (error) {
                co_return false;
            }
        }
        co_return true;
    }

    void noteRequest(const Reply& reply) {
        entry.status = reply.status;
        if (!reply.account.empty()) {
            entry.account = reply.account;
        }
        entry.milliseconds =
            std::chrono::duration<double, std::milli>(Clock::now() - requestBegin).count();
        service.log.write(entry);
    }

    /// Reads on for a while after a reply that ends the connection, at most what an upload may
    /// have: closing it while bytes are on the way would take the reply away from the client.
    asio::awaitable<void> drain() {
        error_code error;
        socket.shutdown(Socket::shutdown_send, error);
        enter(Phase::Reading, service.limits.transferTime);
        buffer.clear();
        const auto since = Clock::now();
        std::vector<char> chunk(chunkBytes);
        std::uint64_t drained = 0;
        while (!error && drained < service.api.uploadLimit()) {
            drained += co_await socket.async_read_some(
                asio::buffer(chunk), asio::redirect_error(asio::use_awaitable, error));
            progressed(since, drained);
        }
    }

    Service& service;
    Worker& worker;
    Socket socket;
    std::list<Connection*>::iterator place;
    std::string peerAddress;
    beast::flat_buffer buffer;
    Phase phase = Phase::Waiting;
    Clock::time_point deadline;
    bool isInterrupted = false;
    bool isClosing = false;
    Clock::time_point requestBegin;
    AccessEntry entry;
};

asio::awaitable<void> serveConnection(Service& service, Worker& worker, Socket socket) {
    try {
        Connection connection(service, worker, std::move(socket));
        co_await connection.serve();
    } catch (const std::exception& error) {
        reportError(error.what());
    }
}

/// Makes room for one more connection.
void closeLongestWaiting(Worker& worker) {
    const auto victim = std::ranges::find_if(
        worker.connections, [](const Connection* connection) { return connection->waits(); });
    if (victim != worker.connections.end()) {
        (*victim)->makeRoom();
    }
}

/// Ends what takes too long, until the worker is to stop and nothing is left.
asio::awaitable<void> watch(Worker& worker) {
    while (!worker.isStopping || !worker.connections.empty()) {
        const auto now = Clock::now();
        for (Connection* const connection : worker.connections) {
            if (worker.isStopping && now >= worker.graceEnd) {
                connection->close();
            } else if (connection->isLate(now)) {
                connection->interrupt();
            }
        }
        worker.timer.expires_after(tick);
        error_code ignored;
        co_await worker.timer.async_wait(asio::redirect_error(asio::use_awaitable, ignored));
    }
    worker.guard.reset();
}

asio::ip::tcp::endpoint endpointOf(const std::string& address) {
    const std::size_t colon = address.rfind(':');
    const bool isBracketed = address.starts_with('[') && colon > 1 && address[colon - 1] == ']';
    const std::string host = isBracketed ? address.substr(1, colon - 2) : address.substr(0, colon);
    error_code error;
    const auto parsed = asio::ip::make_address(host, error);
    const std::string port = colon == std::string::npos ? "" : address.substr(colon + 1);
    const bool isPort = !port.empty() && port.size() <= 5 &&
                        port.find_first_not_of("0123456789") == std::string::npos &&
                        std::stoi(port) <= 65535;
    if (error || !isPort) {
        throw StoreError("'" + address + "' is not an address such as 127.0.0.1:8080");
    }
    return {parsed, static_cast<std::uint16_t>(std::stoi(port))};
}

/// Lets the process have as many open files as it may; returns how many connections fit.
std::size_t possibleConnections() {
    rlimit files{};
    if (getrlimit(RLIMIT_NOFILE, &files) != 0) {
        return 256;
    }
    files.rlim_cur = files.rlim_max;
    setrlimit(RLIMIT_NOFILE, &files);
    getrlimit(RLIMIT_NOFILE, &files);
    // A connection may have an archive open, and the databases have files as well.
    return files.rlim_cur > 300 ? (files.rlim_cur - 200) / 2 : 50;
}

unsigned threadCount(unsigned wanted) {
    return wanted > 0 ? wanted : std::clamp(std::thread::hardware_concurrency(), 1U, 8U);
}

} // namespace

struct HttpServer::State {
    State(RegistryApi& api, AccessLog& log, const HttpLimits& limits)
        : service{api, log, limits},
          workers(threadCount(limits.threads)),
          connectionsEach(std::max<std::size_t>(
              std::min(limits.connections, possibleConnections()) / workers.size(), 1)) {}

    asio::awaitable<void> accept() {
        asio::steady_timer pause(workers.front().context);
        for (std::size_t next = 0; acceptor.is_open(); next = (next + 1) % workers.size()) {
            Worker& worker = workers[next];
            auto [error, socket] =
                co_await acceptor.async_accept(worker.context, asio::as_tuple(asio::use_awaitable));
            if (!error) {
                take(worker, std::move(socket));
            } else if (acceptor.is_open()) {
                // No more files: some of the connections will end.
                pause.expires_after(tick);
                co_await pause.async_wait(asio::use_awaitable);
            }
        }
    }

    /// Starts the threads of all workers, or raises StoreError and starts none.
    void start() {
        try {
            for (Worker& worker : workers) {
                worker.thread = std::thread([&worker] { worker.context.run(); });
            }
        } catch (const std::system_error& error) {
            for (Worker& worker : workers) {
                worker.context.stop();
                if (worker.thread.joinable()) {
                    worker.thread.join();
                }
            }
            raiseNoThread(error);
        }
        isRunning = true;
    }

    void take(Worker& worker, Socket socket) {
        asio::post(worker.context, [this, &worker, accepted = std::move(socket)]() mutable {
            if (worker.connections.size() - worker.closing >= connectionsEach) {
                closeLongestWaiting(worker);
            }
            if (worker.connections.size() - worker.closing < connectionsEach &&
                !worker.isStopping) {
                asio::co_spawn(worker.context,
                               serveConnection(service, worker, std::move(accepted)),
                               asio::detached);
            }
        });
    }

    Service service;
    std::vector<Worker> workers;
    std::size_t connectionsEach;
    asio::ip::tcp::acceptor acceptor{workers.front().context};
    std::string url;
    bool isRunning = false;
};

HttpServer::HttpServer(RegistryApi& api, AccessLog& log, const HttpLimits& limits,
                       const std::string& address)
    : state(std::make_unique<State>(api, log, limits)) {
    const auto endpoint = endpointOf(address);
    try {
        state->acceptor.open(endpoint.protocol());
        closeOnExec(state->acceptor.native_handle());
        state->acceptor.set_option(asio::ip::tcp::acceptor::reuse_address(true));
        state->acceptor.bind(endpoint);
        state->acceptor.listen();
    } catch (const boost::system::system_error& error) {
        throw StoreError("cannot listen on " + address + ": " + error.code().message());
    }
    const auto local = state->acceptor.local_endpoint();
    const std::string host = local.address().is_v6() ? "[" + local.address().to_string() + "]"
                                                     : local.address().to_string();
    state->url = "http://" + host + ":" + std::to_string(local.port());
    asio::co_spawn(state->workers.front().context, state->accept(), asio::detached);
    for (Worker& worker : state->workers) {
        asio::co_spawn(worker.context, watch(worker), asio::detached);
    }
    state->start();
}

HttpServer::~HttpServer() {
    stop();
}

std::string HttpServer::url() const {
    return state->url;
}

void HttpServer::stop() {
    if (!std::exchange(state->isRunning, false)) {
        return;
    }
    asio::post(state->workers.front().context, [this] {
        error_code ignored;
        state->acceptor.close(ignored);
    });
    for (Worker& worker : state->workers) {
        asio::post(worker.context, [this, &worker] {
            worker.isStopping = true;
            worker.graceEnd = Clock::now() + state->service.limits.grace;
            for (Connection* const connection : worker.connections) {
                if (connection->waitsForRequest()) {
                    connection->interrupt();
                }
            }
            worker.timer.cancel();
        });
    }
    for (Worker& worker : state->workers) {
        worker.thread.join();
    }
    state->service.storing.join();
    state->service.hashing.join();
}

} // namespace mos::server
