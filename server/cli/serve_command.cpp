#include "server/cli/serve_command.h"

#include <array>
#include <iostream>

#include "server/cli/data_option.h"
#include "server/cli/signal_set.h"
#include "server/log/error_log.h"
#include "server/store/public_files.h"

namespace mos::server {
namespace {

constexpr std::uint64_t mebibyte = std::uint64_t{1024} * 1024;
constexpr std::uint64_t longestSeconds = 86'400;

constexpr std::array optionsOfServe{
    dataOption,
    OptionSpec{"--listen", "ADDRESS:PORT", "where to listen; 127.0.0.1:8080, port 0 for any"},
    OptionSpec{"--access-log", "FILE", "a line for each request; - (standard output), off"},
    OptionSpec{"--behind-proxy", "", "take the client's address from X-Forwarded-For"},
    OptionSpec{"--threads", "N", "that read and write; one a processor, 8 at most"},
    OptionSpec{"--max-connections", "N", "beyond it the longest waiting one is closed; 1024"},
    OptionSpec{"--max-header", "BYTES", "of a request's header; 16384"},
    OptionSpec{"--max-archive", "MIB", "of a published archive; 32"},
    OptionSpec{"--max-members", "N", "files, and directories, in a published archive; 10000"},
    OptionSpec{"--max-uploads", "N", "at a time; 32"},
    OptionSpec{"--header-timeout", "S", "for a whole header, and between requests; 15"},
    OptionSpec{"--transfer-timeout", "S", "for a body, beside what --min-rate gives it; 30"},
    OptionSpec{"--min-rate", "BYTES", "a second, that a transfer must keep up; 8192"},
    OptionSpec{"--grace", "S", "for requests in flight when the server is to end; 30"},
};

std::chrono::seconds secondsOf(const Arguments& arguments, std::string_view option,
                               std::chrono::seconds fallback) {
    return std::chrono::seconds(
        arguments.number(option, static_cast<std::uint64_t>(fallback.count()), 1, longestSeconds));
}

RegistryApi::Options apiOptionsOf(const Arguments& arguments) {
    RegistryApi::Options api;
    api.archive.bytes =
        mebibyte * arguments.number("--max-archive", api.archive.bytes / mebibyte, 1, 4095);
    api.archive.members = arguments.number("--max-members", api.archive.members, 1, 65'535);
    api.uploads = static_cast<int>(
        arguments.number("--max-uploads", static_cast<std::uint64_t>(api.uploads), 1, 100'000));
    return api;
}

/// What cannot be written is told and does not keep readers from everything else.
void refresh(Database& database, const DataDirectory& data) {
    for (const std::string& problem : refreshStalePublicFiles(database, data)) {
        reportError(problem);
    }
}

} // namespace

std::span<const OptionSpec> serveOptions() {
    return optionsOfServe;
}

HttpLimits httpLimitsOf(const Arguments& arguments) {
    HttpLimits limits;
    limits.headerBytes = arguments.number("--max-header", limits.headerBytes, 1024, mebibyte);
    limits.headerTime = secondsOf(arguments, "--header-timeout", limits.headerTime);
    limits.transferTime = secondsOf(arguments, "--transfer-timeout", limits.transferTime);
    limits.slowestRate = arguments.number("--min-rate", limits.slowestRate, 1, mebibyte * 1024);
    limits.connections = arguments.number("--max-connections", limits.connections, 1, 1'000'000);
    limits.threads = static_cast<unsigned>(arguments.number("--threads", 0, 1, 256));
    limits.grace = secondsOf(arguments, "--grace", limits.grace);
    limits.isBehindProxy = arguments.has("--behind-proxy");
    return limits;
}

int serveCommand(const Arguments& arguments) {
    const auto words = arguments.words({});
    const HttpLimits limits = httpLimitsOf(arguments);
    const RegistryApi::Options apiOptions = apiOptionsOf(arguments);
    const DataDirectory data = dataDirectoryOf(arguments, MissingData::IsCreated);
    const ServingLock lock(data);
    sweepIncoming(data);
    Database database(data.database());
    refresh(database, data);

    AccessLog log(arguments.text("--access-log", "-"));
    RegistryApi api(data, apiOptions);
    // Before the threads of the server begin, so that they leave these signals to this one.
    SignalSet signals({SIGTERM, SIGINT, SIGHUP});
    HttpServer server(api, log, limits, arguments.text("--listen", "127.0.0.1:8080"));
    std::cerr << "mos-registry: serving " << data.root.string() << " at " << server.url()
              << std::endl;
    while (signals.wait() == SIGHUP) {
        log.reopen();
    }
    server.stop();
    refresh(database, data);
    std::cerr << "mos-registry: ended" << std::endl;
    return exitDone;
}

} // namespace mos::server
