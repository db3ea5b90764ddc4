#pragma once

#include <optional>
#include <string_view>

#include "registry/url.h"

namespace mos {

/// How the request that follows a redirect differs from the one that was redirected.
struct Redirect {
    Url url;
    bool becomesGet = false;   ///< sent as a GET without body and content type
    bool leavesOrigin = false; ///< goes to another scheme, host or port: no token goes with it
};

/// What follows a reply with `status` to a request sent with `method` to `from`; `target` is the
/// absolute URL the reply names, empty for none (RFC 9110, section 15.4). Redirects are 301, 302,
/// 303, 307 and 308.
///
/// Nothing when the reply itself is the answer: no redirect or no usable target, a step from https
/// to http, or a body that would have to go to another scheme, host or port.
[[nodiscard]] std::optional<Redirect> followRedirect(std::string_view method, const Url& from,
                                                     int status, std::string_view target);

} // namespace mos
