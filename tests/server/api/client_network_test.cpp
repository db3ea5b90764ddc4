#include "server/api/client_network.h"

#include <gtest/gtest.h>

namespace mos::server {
namespace {

TEST(ClientNetwork, OfAnIpv4AddressIsTheAddress) {
    EXPECT_EQ(clientNetwork("192.0.2.7"), "192.0.2.7");
    EXPECT_EQ(clientNetwork("::ffff:192.0.2.7"), "192.0.2.7");
    EXPECT_EQ(clientNetwork("::ffff:c000:207"), "192.0.2.7");
}

TEST(ClientNetwork, OfAnIpv6AddressIsItsFirstHalf) {
    EXPECT_EQ(clientNetwork("2001:db8:1:2:3:4:5:6"), "2001:db8:1:2::/64");
    EXPECT_EQ(clientNetwork("2001:db8:1:2::"), "2001:db8:1:2::/64");
    EXPECT_EQ(clientNetwork("2001:db8:1:3::1"), "2001:db8:1:3::/64");
    EXPECT_EQ(clientNetwork("::1"), "::/64");
}

TEST(ClientNetwork, OfWhatIsNoAddressIsTheText) {
    for (const char* const text : {"", "-", "192.0.2", "unknown", "2001:db8::1%eth0"}) {
        EXPECT_EQ(clientNetwork(text), text);
    }
}

} // namespace
} // namespace mos::server
