#include "registry/curl_connections_posix.h"

#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <vector>

namespace mos {
namespace {

struct Connections {
    CURLM* multi = nullptr;
    std::vector<curl_socket_t> sockets;
};

Connections& connections() {
    static Connections all;
    return all;
}

curl_socket_t onOpen(void*, curlsocktype, curl_sockaddr* address) {
    const int type = address->socktype | SOCK_CLOEXEC;
    const curl_socket_t opened = ::socket(address->family, type, address->protocol);
    if (opened >= 0) {
        connections().sockets.push_back(opened);
    }
    return opened < 0 ? CURL_SOCKET_BAD : opened;
}

int onClose(void*, curl_socket_t closed) {
    std::erase(connections().sockets, closed);
    return ::close(closed);
}

bool hasBytesWaiting(curl_socket_t socket) {
    char first = 0;
    return ::recv(socket, &first, 1, MSG_PEEK | MSG_DONTWAIT) > 0;
}

} // namespace

CURLM* curlConnections(const CurlLibrary& curl) {
    Connections& all = connections();
    if (all.multi != nullptr && std::ranges::any_of(all.sockets, hasBytesWaiting)) {
        static_cast<void>(curl.multiCleanup(all.multi));
        all.multi = nullptr;
    }
    if (all.multi == nullptr) {
        all.multi = curl.multiInit();
    }
    return all.multi;
}

void watchConnections(const CurlLibrary& curl, CURL* handle) {
    static_cast<void>(curl.easySetopt(handle, CURLOPT_OPENSOCKETFUNCTION, onOpen));
    static_cast<void>(curl.easySetopt(handle, CURLOPT_CLOSESOCKETFUNCTION, onClose));
}

} // namespace mos
