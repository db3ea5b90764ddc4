#pragma once

#include <span>
#include <string_view>

/// What is fuzzed: each takes any bytes and returns when all that was promised of them holds, and
/// ends the program when it does not.
namespace mos::fuzz {

void tomlReader(std::string_view input);
void manifest(std::string_view input);
void lockfile(std::string_view input);
void versions(std::string_view input);
void archive(std::string_view input);
void memberNames(std::string_view input);
void registryReplies(std::string_view input);
void urls(std::string_view input);
void credentials(std::string_view input);
void serverRequests(std::string_view input);
void uploadedManifest(std::string_view input);
void uploadedArchive(std::string_view input);

/// A target under the name of its file and of its corpus.
struct Target {
    std::string_view name;
    void (*run)(std::string_view input);
};

[[nodiscard]] std::span<const Target> targets();

/// Ends the program unless `holds`, with `promise` on standard error.
void require(bool holds, const char* promise);

} // namespace mos::fuzz
