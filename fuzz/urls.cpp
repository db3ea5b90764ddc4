#include "registry/redirect.h"
#include "registry/url.h"

#include <string>

#include "targets.h"

namespace mos::fuzz {
namespace {

/// The longest path as it is given; each of its blanks is sent as three characters.
constexpr std::size_t longestPath = 2047;

void checkUrl(const Url& url) {
    require(!url.host.empty() && url.host.size() <= 255, "the host has a bounded length");
    require(url.port != 0, "there is a port");
    require(url.path.starts_with('/') && url.path.size() <= 3 * longestPath,
            "the path has a bounded length");
    // A blank in the host is for the library to refuse.
    for (const char character : url.path) {
        require(static_cast<unsigned char>(character) > 0x20 && character != 0x7F,
                "no blank and no control character is sent");
    }
    const auto again = splitUrl(joinUrl(url));
    if (url.path.size() > longestPath) {
        require(!again, "no longer path is taken");
        return;
    }
    require(again && joinUrl(*again) == joinUrl(url), "a URL survives a round");
    require(sameOrigin(url, *again), "a URL has its own origin");
}

} // namespace

void urls(std::string_view input) {
    // A URL, and where a redirect from it leads, with a line feed between them.
    const std::size_t end = std::min(input.find('\n'), input.size());
    const auto from = splitUrl(input.substr(0, end));
    if (!from) {
        return;
    }
    checkUrl(*from);
    const std::string_view target = input.substr(std::min(end + 1, input.size()));
    for (const int status : {301, 303, 307}) {
        for (const std::string_view method : {"GET", "POST"}) {
            const auto redirect = followRedirect(method, *from, status, target);
            if (!redirect) {
                continue;
            }
            checkUrl(redirect->url);
            require(from->scheme == UrlScheme::Http || redirect->url.scheme == UrlScheme::Https,
                    "no step from https to http");
            require(redirect->leavesOrigin == !sameOrigin(*from, redirect->url),
                    "leaving the origin is noticed");
            require(!redirect->leavesOrigin || method == "GET" || redirect->becomesGet,
                    "no body leaves the origin");
        }
    }
}

} // namespace mos::fuzz
