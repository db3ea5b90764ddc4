#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace mos {

enum class UrlScheme { Http, Https };

/// An address of the web, taken apart (RFC 3986).
struct Url {
    UrlScheme scheme = UrlScheme::Http;
    std::string host;       ///< as written; an IPv6 address with its brackets
    std::uint16_t port = 0; ///< never 0 in a URL that splitUrl returned
    std::string path;       ///< path and query, begins with "/"
};

/// Takes `text` apart. User information and fragment are dropped, dot segments of the path folded.
/// A blank becomes "%20"; nothing else is encoded. Without a port, or with port 0, the scheme's own
/// port is taken.
///
/// Nothing when the text is no http or https URL, has no host or one of more than 255 characters,
/// a path with query of more than 2,047 characters, a port that is none, or a control character.
[[nodiscard]] std::optional<Url> splitUrl(std::string_view text);

/// The URL as one text, the port always in it.
[[nodiscard]] std::string joinUrl(const Url& url);

/// The absolute URL that `reference` names when it stands in a reply of `base` (RFC 3986, section
/// 5.2); its dot segments are left to splitUrl. Empty for an empty reference.
[[nodiscard]] std::string resolveReference(const Url& base, std::string_view reference);

/// Whether scheme, host (without regard to case) and port are the same.
[[nodiscard]] bool sameOrigin(const Url& a, const Url& b);

} // namespace mos
