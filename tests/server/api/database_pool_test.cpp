#include "server/api/database_pool.h"

#include <gtest/gtest.h>

#include <stdexcept>

#include "server/store/schema.h"
#include "temporary_directory.h"

namespace mos::server {
namespace {

class DatabasePoolTest : public testing::Test {
protected:
    DatabasePoolTest() { prepareDatabase(path); }

    /// Leaves a mark on the connection that is next, as long as it is open.
    void mark() { (*pool.take()).execute("CREATE TEMP TABLE mark (x)"); }

    bool isMarked() {
        const auto database = pool.take();
        return (*database).statement("SELECT 1 FROM sqlite_temp_schema").next();
    }

    test::TemporaryDirectory room;
    std::filesystem::path path = room / "registry.db";
    DatabasePool pool{path};
};

TEST_F(DatabasePoolTest, AConnectionIsUsedAgain) {
    mark();
    EXPECT_TRUE(isMarked());
    EXPECT_TRUE(isMarked());
}

TEST_F(DatabasePoolTest, AConnectionWhoseWorkFailedIsNot) {
    mark();
    EXPECT_THROW(
        {
            const auto database = pool.take();
            (*database).execute("SELECT 1 FROM nowhere");
        },
        DatabaseError);
    EXPECT_FALSE(isMarked());
}

TEST_F(DatabasePoolTest, AConnectionThatIsUsedWhileAnotherFailureIsHandledIs) {
    mark();
    try {
        throw std::runtime_error("elsewhere");
    } catch (const std::runtime_error&) {
        EXPECT_TRUE(isMarked());
    }
    EXPECT_TRUE(isMarked());
}

} // namespace
} // namespace mos::server
