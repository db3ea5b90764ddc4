#include "server/api/client_network.h"

#include <arpa/inet.h>

#include <algorithm>
#include <array>

namespace mos::server {

std::string clientNetwork(const std::string& address) {
    in6_addr parsed{};
    if (inet_pton(AF_INET6, address.c_str(), &parsed) != 1) {
        return address;
    }
    std::array<char, INET6_ADDRSTRLEN> text{};
    if (IN6_IS_ADDR_V4MAPPED(&parsed)) {
        inet_ntop(AF_INET, &parsed.s6_addr[12], text.data(), text.size());
        return text.data();
    }
    std::fill(std::begin(parsed.s6_addr) + 8, std::end(parsed.s6_addr), 0);
    inet_ntop(AF_INET6, &parsed, text.data(), text.size());
    return std::string(text.data()) + "/64";
}

} // namespace mos::server
