#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "server/package/package_record.h"
#include "server/store/accounts.h"
#include "server/store/database.h"

/// Packages and their versions, and the documents that readers are given of them.
namespace mos::server {

enum class DocumentKind { Package, Versions };

/// The document of a package; nothing when there is none of that name.
[[nodiscard]] std::optional<std::string> findDocument(Database& database, std::string_view name,
                                                      DocumentKind kind);

[[nodiscard]] std::optional<std::string>
findVersionDocument(Database& database, std::string_view name, std::string_view version);

/// The archive of one version.
struct StoredArchive {
    std::string digest; ///< SHA-256, 64 hexadecimal digits
    std::uint64_t size = 0;
};

[[nodiscard]] std::optional<StoredArchive> findArchive(Database& database, std::string_view name,
                                                       std::string_view version);

/// The search documents of the packages whose name or description holds `query`, without regard to
/// ASCII case: the package of that name first, then the names that hold it, then the rest; `limit`
/// at most.
[[nodiscard]] std::vector<std::string> search(Database& database, std::string_view query,
                                              std::size_t limit);

/// What becomes of a publication.
struct PublishVerdict {
    enum class Kind {
        New,          ///< can be added, or was
        Same,         ///< is there already with the same bytes
        Conflict,     ///< is there already with other bytes
        VersionTaken, ///< the package has a version that differs only by case
        NotOwner,     ///< the package belongs to somebody else
        NameTaken,    ///< another package has nearly the same name
    };
    Kind kind = Kind::New;
    std::string other; ///< the package or version that NameTaken and VersionTaken speak of
};

/// What would become of a publication now.
[[nodiscard]] PublishVerdict judgePublication(Database& database, const Account& account,
                                              const PackageRecord& record, std::string_view digest);

/// Adds a version whose archive is stored, in one step. Nothing changes unless the verdict is New.
[[nodiscard]] PublishVerdict addVersion(Database& database, const Account& account,
                                        const PackageRecord& record, const StoredArchive& archive);

enum class YankResult { Done, Unchanged, NotFound };

/// Takes a version out of the lists, or puts it back. What is asked for it by its number stays.
[[nodiscard]] YankResult setYanked(Database& database, std::string_view name,
                                   std::string_view version, bool isYanked);

/// Makes all documents anew from what is stored about the versions.
void rewriteDocuments(Database& database);

/// One version with everything that is handed out for it.
struct VersionEntry {
    std::string version;
    std::string document;
    StoredArchive archive;
};

/// One package with everything that is handed out for it.
struct PackageEntry {
    std::string name;
    std::string packageDocument;
    std::string versionsDocument;
    bool publicFilesAreStale = false;
    std::vector<VersionEntry> versions; ///< in byte order
};

/// The names of all packages in byte order, or of those whose public files are stale.
enum class PackageChoice { All, Stale };
[[nodiscard]] std::vector<std::string> packageNames(Database& database, PackageChoice choice);

[[nodiscard]] std::optional<PackageEntry> findPackage(Database& database, std::string_view name);

/// Remembers that the public files of every package are as they should be.
void markPublicFilesFresh(Database& database);

} // namespace mos::server
