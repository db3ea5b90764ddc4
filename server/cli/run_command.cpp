#include "server/cli/run_command.h"

#include <sodium.h>

#include <array>
#include <cstdlib>

#include "platform/environment.h"
#include "server/cli/child_program.h"
#include "server/cli/data_option.h"
#include "server/examples/seed.h"
#include "server/http/http_server.h"

namespace mos::server {
namespace {

constexpr std::array optionsOfRun{
    OptionSpec{"--empty", "", "begin without packages and without a token"},
};

/// A directory under the system's one for temporary files, removed with the object.
class TemporaryDirectory {
public:
    TemporaryDirectory() {
        std::string name = std::filesystem::temp_directory_path() / "mos-registry-XXXXXX";
        if (mkdtemp(name.data()) == nullptr) {
            throw Failure("cannot make a directory in " +
                              std::filesystem::temp_directory_path().string(),
                          exitNoServer);
        }
        directory = name;
    }
    ~TemporaryDirectory() {
        std::error_code ignored;
        std::filesystem::remove_all(directory, ignored);
    }
    TemporaryDirectory(const TemporaryDirectory&) = delete;
    TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;

    [[nodiscard]] const std::filesystem::path& path() const noexcept { return directory; }

private:
    std::filesystem::path directory;
};

std::string randomPassword() {
    std::array<unsigned char, 16> random{};
    randombytes_buf(random.data(), random.size());
    return {reinterpret_cast<const char*>(random.data()), random.size()};
}

/// Makes a user, publishes the examples for them and returns a token of theirs.
std::string seed(const DataDirectory& data, RegistryApi& api,
                 const std::filesystem::path& scratch) {
    Database database(data.database());
    const std::string refusal =
        addUser(database, "examples", "examples@moss.example", randomPassword());
    if (!refusal.empty()) {
        throw Failure(refusal, exitNoServer);
    }
    std::string token = createToken(database, findUser(database, "examples").value(), "run");
    publishExamples(api, token, scratch);
    return token;
}

/// The hosts that no proxy is asked for, and this machine.
std::string withoutProxy() {
    const std::string hosts = environmentVariable("no_proxy").value_or("");
    return hosts.empty() ? "127.0.0.1" : hosts + ",127.0.0.1";
}

int runInside(ChildProgram& child, const TemporaryDirectory& room, bool isEmpty) {
    const DataDirectory data{room.path() / "registry"};
    prepareDataDirectory(data);
    AccessLog log("off");
    RegistryApi api(data, {});
    const std::string token = isEmpty ? "" : seed(data, api, room.path() / "examples");
    HttpServer server(api, log, {}, "127.0.0.1:0");
    child.setVariable("MOS_REGISTRY", server.url());
    child.setVariable("MOSS_HOME", (room.path() / "home").string());
    child.setVariable("MOS_REGISTRY_DATA", data.root.string());
    child.setVariable("no_proxy", withoutProxy());
    if (isEmpty) {
        child.removeVariable("MOS_TOKEN");
    } else {
        child.setVariable("MOS_TOKEN", token);
    }
    return child.run();
}

} // namespace

std::span<const OptionSpec> runOptions() {
    return optionsOfRun;
}

int runCommand(const Arguments& arguments) {
    const auto words = arguments.words({});
    if (arguments.behindDashes().empty()) {
        throw usageError("missing -- COMMAND");
    }
    try {
        // It holds back the signals that would end this process before the directory is removed.
        ChildProgram child(arguments.behindDashes());
        const TemporaryDirectory room;
        return runInside(child, room, arguments.has("--empty"));
    } catch (const Failure&) {
        throw;
    } catch (const std::exception& error) {
        throw Failure(error.what(), exitNoServer);
    }
}

} // namespace mos::server
