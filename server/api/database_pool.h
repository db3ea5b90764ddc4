#pragma once

#include <exception>
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

    /// A connection, given back when the object goes. One whose work ends in an exception is closed
    /// instead: what SQLite could not open for writing it would only read from then on.
    class Lease {
    public:
        Lease(DatabasePool& owner, std::unique_ptr<Database> taken) noexcept
            : pool(owner), database(std::move(taken)) {}
        ~Lease() {
            if (std::uncaught_exceptions() == exceptions) {
                pool.giveBack(std::move(database));
            }
        }
        Lease(const Lease&) = delete;
        Lease& operator=(const Lease&) = delete;

        [[nodiscard]] Database& operator*() const noexcept { return *database; }

    private:
        DatabasePool& pool;
        std::unique_ptr<Database> database;
        int exceptions = std::uncaught_exceptions();
    };

    [[nodiscard]] Lease take();

private:
    void giveBack(std::unique_ptr<Database> database);

    std::filesystem::path path;
    std::mutex mutex;
    std::vector<std::unique_ptr<Database>> idle;
};

} // namespace mos::server
