#include "server/api/database_pool.h"

namespace mos::server {

DatabasePool::Lease DatabasePool::take() {
    {
        const std::lock_guard lock(mutex);
        if (!idle.empty()) {
            auto database = std::move(idle.back());
            idle.pop_back();
            return {*this, std::move(database)};
        }
    }
    return {*this, std::make_unique<Database>(path)};
}

void DatabasePool::giveBack(std::unique_ptr<Database> database) {
    const std::lock_guard lock(mutex);
    idle.push_back(std::move(database));
}

} // namespace mos::server
