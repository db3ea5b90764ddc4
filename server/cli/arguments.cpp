#include "server/cli/arguments.h"

#include <algorithm>
#include <charconv>

namespace mos::server {
namespace {

const OptionSpec& specOf(std::string_view name, std::span<const OptionSpec> specs) {
    const auto found = std::ranges::find(specs, name, &OptionSpec::name);
    if (found == specs.end()) {
        throw usageError("unknown option " + std::string(name));
    }
    return *found;
}

} // namespace

Failure usageError(const std::string& message) {
    return {message, exitUsage};
}

Arguments::Arguments(std::span<const std::string> words, std::span<const OptionSpec> specs) {
    for (std::size_t i = 0; i < words.size(); ++i) {
        const std::string& word = words[i];
        if (word == "--") {
            rest.assign(words.begin() + static_cast<std::ptrdiff_t>(i) + 1, words.end());
            return;
        }
        if (!word.starts_with("--")) {
            positional.push_back(word);
            continue;
        }
        const std::size_t equals = word.find('=');
        const std::string name = word.substr(0, equals);
        const OptionSpec& spec = specOf(name, specs);
        if (spec.value.empty() != (equals == std::string::npos) && spec.value.empty()) {
            throw usageError(name + " takes no value");
        }
        if (spec.value.empty()) {
            options[name] = "";
        } else if (equals != std::string::npos) {
            options[name] = word.substr(equals + 1);
        } else if (i + 1 < words.size()) {
            options[name] = words[++i];
        } else {
            throw usageError(name + " needs a value");
        }
    }
}

bool Arguments::has(std::string_view option) const {
    return options.contains(option);
}

std::string Arguments::text(std::string_view option, std::string_view fallback) const {
    const auto found = options.find(option);
    return found == options.end() ? std::string(fallback) : found->second;
}

std::uint64_t Arguments::number(std::string_view option, std::uint64_t fallback,
                                std::uint64_t least, std::uint64_t most) const {
    if (!has(option)) {
        return fallback;
    }
    const std::string value = text(option, "");
    std::uint64_t result = 0;
    const char* const end = value.data() + value.size();
    const auto [stop, error] = std::from_chars(value.data(), end, result);
    if (error != std::errc{} || stop != end || result < least || result > most) {
        throw usageError(std::string(option) + " must be a number from " + std::to_string(least) +
                         " to " + std::to_string(most));
    }
    return result;
}

std::vector<std::string> Arguments::words(std::span<const std::string_view> names) const {
    if (positional.size() < names.size()) {
        throw usageError("missing " + std::string(names[positional.size()]));
    }
    if (positional.size() > names.size()) {
        throw usageError("unexpected word '" + positional[names.size()] + "'");
    }
    return positional;
}

} // namespace mos::server
