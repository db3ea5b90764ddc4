#pragma once

#include <filesystem>
#include <string>

namespace mos::server {

/// Where everything lies in the directory that `--data` names.
struct DataDirectory {
    std::filesystem::path root;

    [[nodiscard]] std::filesystem::path database() const { return root / "registry.db"; }
    [[nodiscard]] std::filesystem::path archives() const { return root / "archives"; }
    [[nodiscard]] std::filesystem::path incoming() const { return root / "incoming"; }
    [[nodiscard]] std::filesystem::path publicFiles() const { return root / "public"; }
    [[nodiscard]] std::filesystem::path lock() const { return root / "lock"; }

    /// The place of the archive with this SHA-256 digest (64 hexadecimal digits).
    [[nodiscard]] std::filesystem::path archive(const std::string& digest) const {
        return archives() / digest.substr(0, 2) / (digest + ".mos");
    }
};

/// Makes the directories and the database that are not there yet. Throws StoreError or
/// DatabaseError.
void prepareDataDirectory(const DataDirectory& data);

/// The right to serve a data directory, which one process has at a time. Other commands do not
/// need it.
class ServingLock {
public:
    /// Throws StoreError when another process has it.
    explicit ServingLock(const DataDirectory& data);
    ~ServingLock();
    ServingLock(const ServingLock&) = delete;
    ServingLock& operator=(const ServingLock&) = delete;

private:
    int descriptor;
};

/// Removes what killed servers left of uploads. To be called with the serving lock only.
void sweepIncoming(const DataDirectory& data);

} // namespace mos::server
