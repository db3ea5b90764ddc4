#include "server/log/access_log.h"

#include <fcntl.h>
#include <unistd.h>

#include <cmath>
#include <nlohmann/json.hpp>
#include <utility>

#include "server/log/error_log.h"
#include "server/store/clock.h"
#include "server/store/stored_file.h"

namespace mos::server {
namespace {

int openLog(const std::string& path) {
    return open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0640);
}

} // namespace

std::string accessLine(const AccessEntry& entry, const std::string& time) {
    nlohmann::ordered_json line;
    line["time"] = time;
    line["client"] = entry.address;
    line["method"] = entry.method;
    line["target"] = entry.target;
    line["status"] = entry.status;
    line["received"] = entry.received;
    line["sent"] = entry.sent;
    line["ms"] = std::round(entry.milliseconds * 100) / 100;
    line["user"] = entry.account;
    return line.dump(-1, ' ', true, nlohmann::json::error_handler_t::replace) + "\n";
}

AccessLog::AccessLog(std::string target) : targetName(std::move(target)) {
    if (targetName == "-") {
        descriptor = STDOUT_FILENO;
    } else if (targetName != "off") {
        descriptor = openLog(targetName);
        if (descriptor < 0) {
            throw StoreError("cannot open the access log " + targetName);
        }
    }
}

AccessLog::~AccessLog() {
    if (descriptor > STDERR_FILENO) {
        close(descriptor);
    }
}

void AccessLog::write(const AccessEntry& entry) {
    if (descriptor < 0) {
        return;
    }
    const std::string line = accessLine(entry, preciseTimestamp());
    const std::lock_guard lock(mutex);
    // A full disk must not stop the serving.
    [[maybe_unused]] const ssize_t ignored = ::write(descriptor, line.data(), line.size());
}

void AccessLog::reopen() {
    const std::lock_guard lock(mutex);
    if (descriptor <= STDERR_FILENO) {
        return;
    }
    if (const int fresh = openLog(targetName); fresh >= 0) {
        close(descriptor);
        descriptor = fresh;
    } else {
        reportError("cannot open the access log " + targetName + "; the one before goes on");
    }
}

} // namespace mos::server
