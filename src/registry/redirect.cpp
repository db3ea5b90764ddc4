#include "registry/redirect.h"

namespace mos {
namespace {

bool isRedirect(int status) {
    return status == 301 || status == 302 || status == 303 || status == 307 || status == 308;
}

} // namespace

std::optional<Redirect> followRedirect(std::string_view method, const Url& from, int status,
                                       std::string_view target) {
    if (!isRedirect(status)) {
        return std::nullopt;
    }
    auto url = splitUrl(target);
    if (!url || (from.scheme == UrlScheme::Https && url->scheme == UrlScheme::Http)) {
        return std::nullopt;
    }
    const bool leavesOrigin = !sameOrigin(from, *url);
    const bool keepsMethod = method == "GET" || status == 307 || status == 308;
    if (method != "GET" && keepsMethod && leavesOrigin) {
        return std::nullopt;
    }
    return Redirect{*std::move(url), !keepsMethod, leavesOrigin};
}

} // namespace mos
