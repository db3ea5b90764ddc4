#pragma once

#include <map>
#include <string>
#include <utility>
#include <vector>

#include "registry/http_transport.h"

namespace mos::test {

/// Answers "METHOD URL" with what the test put there (404 otherwise) and keeps what was asked.
class ScriptedTransport final : public IHttpTransport {
public:
    std::map<std::string, HttpResponse> replies;
    std::vector<HttpRequest> requests;
    std::vector<std::pair<std::string, std::string>> downloads; ///< URL and destination
    std::string downloadError; ///< what download() fails with; empty for success

    HttpResponse request(const HttpRequest& request) override {
        requests.push_back(request);
        const auto reply = replies.find(request.method + " " + request.url);
        return reply == replies.end() ? HttpResponse{404, "", ""} : reply->second;
    }

    bool download(const std::string& url, DownloadFile& destination, std::string& error) override {
        downloads.emplace_back(url, destination.path().string());
        error = downloadError;
        return downloadError.empty();
    }

    /// Every request so far as "METHOD URL".
    [[nodiscard]] std::vector<std::string> lines() const {
        std::vector<std::string> texts;
        for (const HttpRequest& request : requests) {
            texts.push_back(request.method + " " + request.url);
        }
        return texts;
    }
};

} // namespace mos::test
