// An IP address and a UDP port, as a person writes them: 127.0.0.1:5004 or [::1]:5004.
#ifndef TOOLS_COMMON_ENDPOINT_H
#define TOOLS_COMMON_ENDPOINT_H

#include <cstdint>
#include <string>
#include <sys/socket.h>

struct Endpoint {
    std::string ip; // text form, no brackets
    uint16_t port = 0;

    // False for anything but a numeric address with a port of 1 to 65534: the next port must exist, since RTCP uses it
    // (RFC 3550, 11). Leaves `endpoint` alone then.
    static bool Parse(const std::string& text, Endpoint& endpoint);

    bool IsIPv6() const { return ip.find(':') != std::string::npos; }
    std::string ToString() const;
    // Where RTCP goes when this is where RTP goes.
    Endpoint Rtcp() const;
    // Fills the socket address and returns its length.
    socklen_t ToSockaddr(sockaddr_storage& address) const;
};

// A UDP socket bound to the endpoint and closed on exec, or -1 with errno.
int OpenBoundSocket(const Endpoint& endpoint);

// 0 when the endpoint could be bound just now, else the errno.
int BindError(const Endpoint& endpoint);

#endif
