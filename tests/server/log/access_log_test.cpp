#include "server/log/access_log.h"

#include <gtest/gtest.h>

namespace mos::server {
namespace {

TEST(AccessLog, ALineIsOneJsonObject) {
    const AccessEntry entry{"127.0.0.1", "GET", "/a?q=\"\n\xFF", "you", 200, 12, 34, 1.23456};
    EXPECT_EQ(accessLine(entry, "2026-01-31T12:00:00.123Z"),
              "{\"time\":\"2026-01-31T12:00:00.123Z\",\"client\":\"127.0.0.1\",\"method\":\"GET\","
              "\"target\":\"/a?q=\\\"\\n\\ufffd\",\"status\":200,\"received\":12,\"sent\":34,"
              "\"ms\":1.23,\"user\":\"you\"}\n");
}

} // namespace
} // namespace mos::server
