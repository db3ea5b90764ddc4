// Asks a registry what a file lists, with the client that resolving uses and without resolving.
// A line "NAME" asks which versions a package has, a line "NAME VERSION" what a version is.
#include <cstdio>
#include <sstream>

#include "platform/file_system.h"
#include "platform/process_setup.h"
#include "registry/package_registry.h"

namespace {

/// Whether the registry has an answer.
bool ask(mos::IRegistry& registry, const std::string& line) {
    const std::size_t blank = line.find(' ');
    if (blank == std::string::npos) {
        return !registry.availableVersions(line).empty();
    }
    const auto version = mos::Version::parse(line.substr(blank + 1));
    return version && registry.versionMetadata(line.substr(0, blank), *version).found;
}

} // namespace

int main(int argc, char** argv) {
    mos::setUpProcess();
    auto questions = argc == 2 ? mos::readFile(argv[1]) : std::nullopt;
    if (!questions) {
        static_cast<void>(std::fputs("usage: mos_lookups FILE\n", stderr));
        return 2;
    }
    const auto registry = mos::makeRegistry();
    std::istringstream lines(*std::move(questions));
    for (std::string line; std::getline(lines, line);) {
        if (!ask(*registry, line)) {
            static_cast<void>(std::fprintf(stderr, "no answer: %s\n", line.c_str()));
            return 1;
        }
    }
    return 0;
}
