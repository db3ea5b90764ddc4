#pragma once

#include <filesystem>
#include <memory>
#include <mutex>
#include <vector>

#include "server/store/database.h"

namespace mos::server {

/// Connections to one database, for as many threads as ask at once. A connection and its prepared
/// statements are used again.
class DatabasePool {
public:
    explicit DatabasePool(std::filesystem::path database) : path(std::move(database)) {}

    /// A connection, given back when the object goes.
    class Lease {
    public:
        Lease(DatabasePool& owner, std::unique_ptr<Database> taken) noexcept
            : pool(owner), database(std::move(taken)) {}
        ~Lease() { pool.giveBack(std::move(database)); }
        Lease(const Lease&) = delete;
        Lease& operator=(const Lease&) = delete;

        [[nodiscard]] Database& operator*() const noexcept { return *database; }

    private:
        DatabasePool& pool;
        std::unique_ptr<Database> database;
    };

    [[nodiscard]] Lease take();

private:
    void giveBack(std::unique_ptr<Database> database);

    std::filesystem::path path;
    std::mutex mutex;
    std::vector<std::unique_ptr<Database>> idle;
};

} // namespace mos::server
