#include "registry/url.h"

#include <algorithm>
#include <charconv>

namespace mos {
namespace {

constexpr std::size_t maxHostLength = 255;
constexpr std::size_t maxPathLength = 2047;

bool isControl(char c) {
    return static_cast<unsigned char>(c) < 0x20 || c == 0x7f;
}

char lowerCase(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

bool isSameInAnyCase(std::string_view a, std::string_view b) {
    return std::ranges::equal(a, b, {}, lowerCase, lowerCase);
}

std::optional<UrlScheme> parseScheme(std::string_view text) {
    if (isSameInAnyCase(text, "http")) {
        return UrlScheme::Http;
    }
    if (isSameInAnyCase(text, "https")) {
        return UrlScheme::Https;
    }
    return std::nullopt;
}

std::optional<std::uint16_t> parsePort(std::string_view text, UrlScheme scheme) {
    std::uint16_t port = 0;
    if (!text.empty()) {
        const char* const end = text.data() + text.size();
        const auto result = std::from_chars(text.data(), end, port);
        if (result.ec != std::errc{} || result.ptr != end) {
            return std::nullopt;
        }
    }
    if (port == 0) {
        return static_cast<std::uint16_t>(scheme == UrlScheme::Https ? 443 : 80);
    }
    return port;
}

/// Where the host ends in "host:port": the colons of an IPv6 address stand inside brackets.
std::size_t hostLength(std::string_view authority) {
    if (authority.starts_with('[')) {
        const std::size_t closing = authority.find(']');
        return closing == std::string_view::npos ? 0 : closing + 1;
    }
    return std::min(authority.find(':'), authority.size());
}

bool parseAuthority(std::string_view authority, Url& url) {
    if (const std::size_t at = authority.rfind('@'); at != std::string_view::npos) {
        authority.remove_prefix(at + 1);
    }
    const std::size_t length = hostLength(authority);
    if (length == 0 || length > maxHostLength) {
        return false;
    }
    std::string_view rest = authority.substr(length);
    if (!rest.empty()) {
        if (rest.front() != ':') {
            return false;
        }
        rest.remove_prefix(1);
    }
    const auto port = parsePort(rest, url.scheme);
    if (!port) {
        return false;
    }
    url.host = authority.substr(0, length);
    url.port = *port;
    return true;
}

std::string encodeBlanks(std::string_view text) {
    std::string encoded;
    std::size_t blank = text.find(' ');
    while (blank != std::string_view::npos) {
        encoded.append(text.substr(0, blank)).append("%20");
        text.remove_prefix(blank + 1);
        blank = text.find(' ');
    }
    return encoded.append(text);
}

/// `path`, which begins with "/", without its dot segments (RFC 3986, 5.2.4).
std::string withoutDotSegments(std::string_view path) {
    if (path.find("/.") == std::string_view::npos) {
        return std::string(path);
    }
    std::string folded;
    while (!path.empty()) {
        const std::size_t end = std::min(path.find('/', 1), path.size());
        const std::string_view segment = path.substr(1, end - 1);
        path.remove_prefix(end);
        if (segment != "." && segment != "..") {
            folded.append("/").append(segment);
            continue;
        }
        if (segment == ".." && !folded.empty()) {
            folded.resize(folded.rfind('/'));
        }
        if (path.empty()) {
            folded.push_back('/');
        }
    }
    return folded;
}

bool isAsciiLetter(char c) {
    return lowerCase(c) >= 'a' && lowerCase(c) <= 'z';
}

/// Whether `reference` begins with a scheme and its colon.
bool hasScheme(std::string_view reference) {
    const auto belongsToScheme = [](char c) {
        return isAsciiLetter(c) || (c >= '0' && c <= '9') || c == '+' || c == '-' || c == '.';
    };
    const auto end = std::ranges::find_if_not(reference, belongsToScheme);
    return end != reference.begin() && isAsciiLetter(reference.front()) && end != reference.end() &&
           *end == ':';
}

std::string_view schemeText(const Url& url) {
    return url.scheme == UrlScheme::Https ? "https:" : "http:";
}

std::string authorityText(const Url& url) {
    return "//" + url.host + ":" + std::to_string(url.port);
}

} // namespace

std::optional<Url> splitUrl(std::string_view text) {
    if (std::ranges::any_of(text, isControl)) {
        return std::nullopt;
    }
    text = text.substr(0, text.find('#'));
    const std::size_t separator = text.find("://");
    if (separator == std::string_view::npos) {
        return std::nullopt;
    }
    const auto scheme = parseScheme(text.substr(0, separator));
    if (!scheme) {
        return std::nullopt;
    }
    Url url{*scheme, {}, 0, {}};
    text.remove_prefix(separator + 3);
    const std::size_t authorityLength = std::min(text.find_first_of("/?"), text.size());
    const std::string_view path = text.substr(authorityLength);
    if (path.size() > maxPathLength || !parseAuthority(text.substr(0, authorityLength), url)) {
        return std::nullopt;
    }
    const std::size_t pathLength = std::min(path.find('?'), path.size());
    url.path = withoutDotSegments(encodeBlanks(path.substr(0, pathLength)));
    if (url.path.empty()) {
        url.path = "/";
    }
    url.path.append(encodeBlanks(path.substr(pathLength)));
    return url;
}

std::string joinUrl(const Url& url) {
    return std::string(schemeText(url)).append(authorityText(url)).append(url.path);
}

std::string resolveReference(const Url& base, std::string_view reference) {
    if (reference.empty() || hasScheme(reference)) {
        return std::string(reference);
    }
    const std::string scheme(schemeText(base));
    if (reference.starts_with("//")) {
        return scheme + std::string(reference);
    }
    std::string_view kept;
    if (reference.front() == '#') {
        kept = base.path;
    } else if (reference.front() == '?') {
        kept = std::string_view(base.path).substr(0, base.path.find('?'));
    } else if (reference.front() != '/') {
        const std::string_view path = std::string_view(base.path).substr(0, base.path.find('?'));
        kept = path.substr(0, path.rfind('/') + 1);
    }
    return scheme + authorityText(base).append(kept).append(reference);
}

bool sameOrigin(const Url& a, const Url& b) {
    return a.scheme == b.scheme && a.port == b.port && isSameInAnyCase(a.host, b.host);
}

} // namespace mos
