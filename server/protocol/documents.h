#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "server/package/package_record.h"

/// The JSON texts that readers are given. Clients of this registry scan them instead of parsing
/// them: a value is what stands in the first quotation marks after its key's first appearance, even
/// where that is another value of the same spelling. So every value is a string, none has an escape
/// in it, and keys stand in an order in which every one is found, whatever the package is called.
namespace mos::server {

/// A package as `mos info` shows it.
struct PackageSummary {
    std::string name;
    std::string latest; ///< empty when no version is listed
    std::string description;
    std::string license;
    std::vector<std::string> versions; ///< those that are listed, ascending
};

[[nodiscard]] std::string packageDocument(const PackageSummary& package);

/// The listed versions alone.
[[nodiscard]] std::string versionsDocument(std::span<const std::string> versions);

/// One version; `digest` is the SHA-256 of its archive as 64 hexadecimal digits.
[[nodiscard]] std::string versionDocument(const PackageRecord& record, std::string_view digest);

/// One result of a search, to stand in a list.
[[nodiscard]] std::string searchDocument(const PackageSummary& package);

/// The results of a search.
[[nodiscard]] std::string searchResults(std::span<const std::string> documents);

/// The reply to a login.
[[nodiscard]] std::string loginDocument(std::string_view token, std::string_view username,
                                        std::string_view email);

/// The reply to a publication.
[[nodiscard]] std::string publishedDocument(std::string_view name, std::string_view version,
                                            std::string_view digest);

/// Why something was refused, in one line.
[[nodiscard]] std::string errorDocument(std::string_view reason);

} // namespace mos::server
