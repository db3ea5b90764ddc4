#include "server/cli/data_option.h"

#include <system_error>

#include "platform/environment.h"

namespace mos::server {

DataDirectory dataDirectoryOf(const Arguments& arguments, MissingData missing) {
    const std::string path =
        arguments.text("--data", environmentVariable("MOS_REGISTRY_DATA").value_or(""));
    if (path.empty()) {
        throw usageError("--data DIR is needed, or MOS_REGISTRY_DATA");
    }
    DataDirectory data{std::filesystem::absolute(path)};
    std::error_code ignored;
    if (missing == MissingData::IsAFailure && !std::filesystem::exists(data.database(), ignored)) {
        throw Failure("there is no registry in " + path, exitFailed);
    }
    prepareDataDirectory(data);
    return data;
}

} // namespace mos::server
