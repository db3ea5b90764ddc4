// Reads one value: the right-hand side of a statement.
//
// An array is split at the commas that stand outside strings at its own bracket and brace depth,
// an inline table at every comma outside strings; each piece is then a value of its own, and so
// on. Scanning every piece anew would take quadratic time for nested text, so one pass over the
// text notes, for every comma and every "[", what any scan would know there:
//
// - Whether a byte is inside a string. A scan toggles at every double quote that no backslash
//   precedes, and starts outside. Two scans that start at different places toggle at the same
//   quotes, so they agree or are exact opposites: the parity of the quotes passed tells, compared
//   with the parity where the scan started. Hence two families of bytes, one for each parity.
// - The bracket and brace depths, counted from the start of the text for each family. Relative to
//   a scan's start they are differences.
//
// The commas that split an array are then those of the same family, bracket depth and brace depth
// as just behind its "[". They are found by binary search; a comma splits at most once, since no
// piece holds it. Depths may become negative ("1], 2"), which needs no special care.
#include "manifest/toml_reader.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <deque>
#include <tuple>
#include <utility>

#include "semver/trim.h"

namespace mos {
namespace {

struct Span {
    std::size_t begin;
    std::size_t end;

    [[nodiscard]] bool empty() const noexcept { return begin == end; }
};

/// What a scan would know at a place: its family and its depths.
struct ScanState {
    std::size_t parity = 0;
    std::int64_t brackets = 0;
    std::int64_t braces = 0;

    auto operator<=>(const ScanState&) const = default;
};

struct Comma {
    ScanState state;
    std::size_t position;

    auto operator<=>(const Comma&) const = default;
};

/// The one pass: where commas and opening brackets stand.
struct ScanIndex {
    std::vector<Comma> commas;                               ///< by state, then by position
    std::array<std::vector<std::size_t>, 2> commasByParity;  ///< by position
    std::vector<std::pair<std::size_t, ScanState>> brackets; ///< "[" by position; state behind it
    std::vector<std::size_t> quotes; ///< positions of the quotes that toggle

    [[nodiscard]] ScanState stateBehindBracket(std::size_t position) const {
        return std::ranges::lower_bound(brackets, position, {},
                                        &std::pair<std::size_t, ScanState>::first)
            ->second;
    }

    [[nodiscard]] std::size_t parityAt(std::size_t position) const {
        const auto passed = std::ranges::lower_bound(quotes, position) - quotes.begin();
        return static_cast<std::size_t>(passed) % 2;
    }
};

ScanIndex scan(std::string_view text) {
    ScanIndex index;
    std::array<ScanState, 2> states{ScanState{0, 0, 0}, ScanState{1, 0, 0}};
    std::size_t parity = 0;
    for (std::size_t i = 0; i < text.size(); ++i) {
        ScanState& state = states[parity];
        switch (text[i]) {
        case '"':
            if (i == 0 || text[i - 1] != '\\') {
                parity ^= 1U;
                index.quotes.push_back(i);
            }
            break;
        case '[':
            ++state.brackets;
            index.brackets.emplace_back(i, state);
            break;
        case ']':
            --state.brackets;
            break;
        case '{':
            ++state.braces;
            break;
        case '}':
            --state.braces;
            break;
        case ',':
            index.commas.push_back({state, i});
            index.commasByParity[parity].push_back(i);
            break;
        default:
            break;
        }
    }
    std::ranges::sort(index.commas);
    return index;
}

std::string unescaped(std::string_view body) {
    std::string text;
    text.reserve(body.size());
    for (std::size_t i = 0; i < body.size(); ++i) {
        char c = body[i];
        if (c == '\\' && i + 1 < body.size()) {
            c = body[++i];
            c = c == 'n' ? '\n' : c == 't' ? '\t' : c;
        }
        text.push_back(c);
    }
    return text;
}

std::optional<TomlValue> parseInteger(std::string_view text) {
    if (text.starts_with('+')) {
        text.remove_prefix(1);
        if (text.starts_with('-')) {
            return std::nullopt;
        }
    }
    std::int64_t number = 0;
    const char* end = text.data() + text.size();
    const auto result = std::from_chars(text.data(), end, number);
    if (result.ec != std::errc{} || result.ptr != end) {
        return std::nullopt;
    }
    return TomlValue(number);
}

bool isQuoted(std::string_view text) {
    return text.size() >= 2 && text.front() == '"' && text.back() == '"';
}

std::optional<TomlValue> parseScalar(std::string_view text) {
    if (text.empty()) {
        return std::nullopt;
    }
    if (isQuoted(text)) {
        return TomlValue(unescaped(text.substr(1, text.size() - 2)));
    }
    if (text == "true" || text == "false") {
        return TomlValue(text == "true");
    }
    return parseInteger(text);
}

/// An array or inline table that is being read: what is left of it and what it holds so far.
struct OpenComposite {
    bool isTable = false;
    Span rest{};
    ScanState state; ///< of an array's commas
    TomlArray elements;
    TomlTable entries;
    std::string key; ///< of the value being read, in a table

    void add(TomlValue value) {
        if (isTable) {
            entries.assign(std::move(key), std::move(value));
        } else {
            elements.push_back(std::move(value));
        }
    }

    [[nodiscard]] TomlValue take() {
        return isTable ? TomlValue(std::move(entries)) : TomlValue(std::move(elements));
    }
};

/// Reads an array or inline table.
class ValueReader {
public:
    explicit ValueReader(std::string_view value) : text(value), index(scan(value)) {}

    [[nodiscard]] std::optional<TomlValue> read() {
        std::deque<OpenComposite> open;
        std::optional<Span> next = Span{0, text.size()};
        while (true) {
            std::optional<TomlValue> finished;
            if (next && opensComposite(*next)) {
                auto composite = opened(*next);
                if (!composite) {
                    return std::nullopt;
                }
                open.push_back(*std::move(composite));
            } else {
                finished = next ? parseScalar(view(*next)) : open.back().take();
                if (!finished) {
                    return std::nullopt;
                }
                if (!next) {
                    open.pop_back();
                }
                if (open.empty()) {
                    return finished;
                }
                open.back().add(*std::move(finished));
            }
            bool failed = false;
            next = nextValue(open.back(), failed);
            if (failed) {
                return std::nullopt;
            }
        }
    }

private:
    [[nodiscard]] std::string_view view(Span span) const {
        return text.substr(span.begin, span.end - span.begin);
    }

    [[nodiscard]] Span trimmed(Span span) const {
        const std::string_view inner = trim(view(span));
        if (inner.empty()) {
            return {span.begin, span.begin};
        }
        const auto begin = static_cast<std::size_t>(inner.data() - text.data());
        return {begin, begin + inner.size()};
    }

    [[nodiscard]] bool opensComposite(Span span) const {
        return !span.empty() && (text[span.begin] == '[' || text[span.begin] == '{');
    }

    [[nodiscard]] std::optional<OpenComposite> opened(Span span) const {
        OpenComposite composite;
        composite.isTable = text[span.begin] == '{';
        if (text[span.end - 1] != (composite.isTable ? '}' : ']')) {
            return std::nullopt;
        }
        if (composite.isTable) {
            composite.state.parity = index.parityAt(span.begin);
        } else {
            composite.state = index.stateBehindBracket(span.begin);
        }
        composite.rest = trimmed({span.begin + 1, span.end - 1});
        return composite;
    }

    /// Where the next comma of `composite` stands; the end of the composite when there is none.
    [[nodiscard]] std::size_t nextComma(const OpenComposite& composite) const {
        std::size_t position = composite.rest.end;
        if (composite.isTable) {
            const auto& commas = index.commasByParity[composite.state.parity];
            const auto comma = std::ranges::lower_bound(commas, composite.rest.begin);
            position = comma == commas.end() ? position : *comma;
        } else {
            const auto comma = std::ranges::lower_bound(
                index.commas, Comma{composite.state, composite.rest.begin});
            const bool found = comma != index.commas.end() && comma->state == composite.state;
            position = found ? comma->position : position;
        }
        return std::min(position, composite.rest.end);
    }

    /// The text of the composite's next value; nothing at its end. `failed` is set when what
    /// stands there cannot be a value.
    [[nodiscard]] std::optional<Span> nextValue(OpenComposite& composite, bool& failed) const {
        if (composite.rest.empty()) {
            return std::nullopt;
        }
        const std::size_t comma = nextComma(composite);
        Span piece = trimmed({composite.rest.begin, comma});
        composite.rest.begin = std::min(comma + 1, composite.rest.end);
        if (piece.empty() && comma == composite.rest.end) {
            return std::nullopt;
        }
        if (composite.isTable) {
            const std::size_t equals = view(piece).find('=');
            if (equals == std::string_view::npos) {
                failed = true;
                return std::nullopt;
            }
            composite.key = trim(view(piece).substr(0, equals));
            piece = trimmed({piece.begin + equals + 1, piece.end});
        }
        failed = piece.empty();
        return piece;
    }

    std::string_view text;
    ScanIndex index;
};

} // namespace

std::optional<TomlValue> parse_value(std::string_view text) {
    text = trim(text);
    // Scalars, by far most values, need no index.
    const bool composite = text.starts_with('[') || text.starts_with('{');
    return composite ? ValueReader(text).read() : parseScalar(text);
}

} // namespace mos
