#include "platform/temporary_name.h"

#include <algorithm>
#include <string_view>

namespace mos {
namespace {

using NativeView = std::basic_string_view<std::filesystem::path::value_type>;

constexpr std::string_view temporaryPrefix = ".mos-new-";

bool isNumber(NativeView text) {
    return !text.empty() && std::all_of(text.begin(), text.end(), [](auto character) {
        return character >= '0' && character <= '9';
    });
}

} // namespace

std::string temporaryName(std::uint64_t process, std::uint64_t moment) {
    return std::string(temporaryPrefix) + std::to_string(process) + "-" + std::to_string(moment);
}

bool isTemporaryName(const std::filesystem::path& fileName) {
    const NativeView name = fileName.native();
    const NativeView beginning = name.substr(0, temporaryPrefix.size());
    if (!std::equal(beginning.begin(), beginning.end(), temporaryPrefix.begin(),
                    temporaryPrefix.end())) {
        return false;
    }
    const NativeView numbers = name.substr(beginning.size());
    const auto dash = std::find(numbers.begin(), numbers.end(), '-');
    return dash != numbers.end() && isNumber(NativeView(numbers.begin(), dash)) &&
           isNumber(NativeView(dash + 1, numbers.end()));
}

} // namespace mos
