#include "server/examples/seed.h"

#include <set>

#include "archive/packaging.h"
#include "platform/file_system.h"
#include "server/examples/example_files.h"

namespace mos::server {
namespace {

/// Writes the examples; returns the names of their directories.
std::set<std::string> unpackExamples(const std::filesystem::path& scratch) {
    std::set<std::string> packages;
    for (const ExampleFile& file : exampleFiles()) {
        replaceUnflushed(scratch / file.path, file.content);
        packages.emplace(file.path.substr(0, file.path.find('/')));
    }
    return packages;
}

void publishArchive(RegistryApi& api, const std::string& token, const std::string& archive) {
    Reply reply;
    const auto upload = api.beginUpload({"POST", "", token, "-"}, reply);
    if (upload) {
        upload->file.append(std::as_bytes(std::span(archive)));
        reply = api.publish(*upload);
    }
    if (reply.status != 201) {
        throw StoreError("an example package was refused: " + reply.body);
    }
}

} // namespace

void publishExamples(RegistryApi& api, const std::string& token,
                     const std::filesystem::path& scratch) {
    for (const std::string& package : unpackExamples(scratch)) {
        const auto archive = scratch / (package + ".mos");
        std::string error;
        if (!createPackage(scratch / package, archive, nullptr, nullptr, &error)) {
            throw StoreError("an example package cannot be packed: " + error);
        }
        publishArchive(api, token, readFile(archive).value_or(""));
    }
}

} // namespace mos::server
