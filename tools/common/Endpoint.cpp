#include "common/Endpoint.h"

#include <arpa/inet.h>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <netinet/in.h>
#include <unistd.h>

namespace {

constexpr int MAX_RTP_PORT = 65534;

bool ParsePort(const std::string& text, uint16_t& port) {
    int value = 0;
    const auto result = std::from_chars(text.data(), text.data() + text.size(), value);
    if (result.ec != std::errc() || result.ptr != text.data() + text.size() || value < 1 || value > MAX_RTP_PORT) {
        return false;
    }
    port = static_cast<uint16_t>(value);
    return true;
}

bool IsAddress(int family, const std::string& ip) {
    in6_addr address = {};
    return inet_pton(family, ip.c_str(), &address) == 1;
}

} // namespace

bool Endpoint::Parse(const std::string& text, Endpoint& endpoint) {
    const size_t colon = text.rfind(':');
    if (colon == std::string::npos) {
        return false;
    }
    std::string ip = text.substr(0, colon);
    int family = AF_INET;
    if (ip.size() >= 2 && ip.front() == '[' && ip.back() == ']') {
        ip = ip.substr(1, ip.size() - 2);
        family = AF_INET6;
    }
    Endpoint parsed;
    if (!IsAddress(family, ip) || !ParsePort(text.substr(colon + 1), parsed.port)) {
        return false;
    }
    parsed.ip = ip;
    endpoint = parsed;
    return true;
}

std::string Endpoint::ToString() const {
    return (IsIPv6() ? "[" + ip + "]" : ip) + ":" + std::to_string(port);
}

Endpoint Endpoint::Rtcp() const {
    Endpoint next = *this;
    ++next.port;
    return next;
}

socklen_t Endpoint::ToSockaddr(sockaddr_storage& address) const {
    memset(&address, 0, sizeof(address));
    auto* ipv4 = reinterpret_cast<sockaddr_in*>(&address);
    if (inet_pton(AF_INET, ip.c_str(), &ipv4->sin_addr) == 1) {
        ipv4->sin_family = AF_INET;
        ipv4->sin_port = htons(port);
        return sizeof(sockaddr_in);
    }
    auto* ipv6 = reinterpret_cast<sockaddr_in6*>(&address);
    inet_pton(AF_INET6, ip.c_str(), &ipv6->sin6_addr);
    ipv6->sin6_family = AF_INET6;
    ipv6->sin6_port = htons(port);
    return sizeof(sockaddr_in6);
}

int OpenBoundSocket(const Endpoint& endpoint) {
    sockaddr_storage address = {};
    const socklen_t length = endpoint.ToSockaddr(address);
    const int fd = socket(address.ss_family, SOCK_DGRAM | SOCK_CLOEXEC, IPPROTO_UDP);
    if (fd < 0) {
        return -1;
    }
    if (bind(fd, reinterpret_cast<sockaddr*>(&address), length) != 0) {
        const int error = errno;
        close(fd);
        errno = error;
        return -1;
    }
    return fd;
}

int BindError(const Endpoint& endpoint) {
    const int fd = OpenBoundSocket(endpoint);
    if (fd < 0) {
        return errno;
    }
    close(fd);
    return 0;
}
