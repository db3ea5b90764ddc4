#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "server/store/data_directory.h"
#include "server/store/database.h"

/// What readers are given, as plain files for any web server or object store.
namespace mos::server {

enum class FileLayout {
    /// A file for each path below the directory. A path that others continue is a directory with
    /// the file "index.json".
    Tree,
    /// All files in the directory itself, named by their paths with "%2F" for "/".
    Flat,
};

/// Writes the files of all packages, the list of all packages and the reply to everything else into
/// `directory`, which must not hold anything else. Archives are copied. Throws StoreError.
void exportFiles(Database& database, const DataDirectory& data, FileLayout layout,
                 const std::filesystem::path& directory);

/// Brings the files of one package in the data directory's own public tree up to date after a
/// change to `version`; archives are links to the stored ones. Processes that do the same wait for
/// each other.
void refreshPublicFiles(Database& database, const DataDirectory& data, const std::string& package,
                        const std::string& version);

/// Brings the files of all stale packages up to date and remembers, once they are on the disk, that
/// nothing is stale. A sentence for each file that cannot be written; the packages then stay stale.
/// To be called with the serving lock only.
[[nodiscard]] std::vector<std::string> refreshStalePublicFiles(Database& database,
                                                               const DataDirectory& data);

/// Makes the public tree of the data directory anew, file by file, so that readers go on finding
/// what is there, and removes what does not belong there. What cannot be made anew stays as it is:
/// a sentence for each such file, and for what stays though it does not belong there.
[[nodiscard]] std::vector<std::string> rebuildPublicFiles(Database& database,
                                                          const DataDirectory& data);

/// The files of the public tree that nothing in the database accounts for, in byte order. Those of
/// packages whose files are stale are not looked at.
[[nodiscard]] std::vector<std::filesystem::path> findStrayPublicFiles(Database& database,
                                                                      const DataDirectory& data);

/// What is wrong with the public files of a package: a sentence for each file that is missing or
/// different. Nothing is expected of a package whose files are stale.
[[nodiscard]] std::vector<std::string>
findWrongPublicFiles(Database& database, const DataDirectory& data, const std::string& package);

} // namespace mos::server
