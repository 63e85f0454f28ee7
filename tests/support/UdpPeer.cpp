#include "tests/support/UdpPeer.h"

#include <arpa/inet.h>
#include <atomic>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

constexpr uint16_t FIRST_TEST_PORT = 20000;
constexpr uint16_t TEST_PORTS = 10000;

union Address {
    sockaddr generic;
    sockaddr_in v4;
    sockaddr_in6 v6;
};

socklen_t Fill(Address& address, const std::string& ip, uint16_t port) {
    address = {};
    if (inet_pton(AF_INET, ip.c_str(), &address.v4.sin_addr) == 1) {
        address.v4.sin_family = AF_INET;
        address.v4.sin_port = htons(port);
        return sizeof(address.v4);
    }
    inet_pton(AF_INET6, ip.c_str(), &address.v6.sin6_addr);
    address.v6.sin6_family = AF_INET6;
    address.v6.sin6_port = htons(port);
    return sizeof(address.v6);
}

} // namespace

UdpPeer::UdpPeer(uint16_t port, const std::string& ip) : m_sIp(ip) {
    Address address;
    socklen_t length = Fill(address, ip, port);
    const int fd = socket(address.generic.sa_family, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (bind(fd, &address.generic, length) != 0) {
        close(fd);
        return;
    }
    getsockname(fd, &address.generic, &length);
    m_nFd = fd;
    m_nPort = ntohs(address.v4.sin_port);
}

UdpPeer::~UdpPeer() {
    if (m_nFd >= 0) {
        close(m_nFd);
    }
}

void UdpPeer::SendTo(uint16_t port, const Bytes& datagram) {
    Address address;
    const socklen_t length = Fill(address, m_sIp, port);
    sendto(m_nFd, datagram.data(), datagram.size(), 0, &address.generic, length);
}

Bytes UdpPeer::Receive(int limitMs) {
    pollfd readable = {m_nFd, POLLIN, 0};
    if (poll(&readable, 1, limitMs) != 1) {
        return {};
    }
    Bytes datagram(2048);
    const ssize_t length = recv(m_nFd, datagram.data(), datagram.size(), 0);
    datagram.resize(length > 0 ? static_cast<size_t>(length) : 0);
    return datagram;
}

uint16_t FreePortPair(const std::string& ip) {
    // Test programs run side by side: each starts somewhere else.
    static std::atomic<uint32_t> next{static_cast<uint32_t>(getpid()) * 64};
    for (;;) {
        const uint16_t port = static_cast<uint16_t>(FIRST_TEST_PORT + (next.fetch_add(2) * 2) % TEST_PORTS);
        if (UdpPeer(port, ip).IsOpen() && UdpPeer(port + 1, ip).IsOpen()) {
            return port;
        }
    }
}
