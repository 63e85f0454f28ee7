// Sockets in memory, linked in place of net/CSocket.cpp: every datagram that the engine sends is kept, and the ones it
// is to receive are put before its sockets. Single-threaded.
#ifndef TESTS_SUPPORT_MEMORY_NETWORK_H
#define TESTS_SUPPORT_MEMORY_NETWORK_H

#include "net/CTextSocketInfo.h"
#include "tests/support/UdpPeer.h"

namespace memory_network {

struct SentDatagram {
    uint16_t fromPort;
    uint16_t toPort;
    Bytes data;
};

// No socket is open and nothing was sent.
void Reset();

// What the engine has sent since the last call, in order.
std::vector<SentDatagram> TakeSent();

// Puts a datagram before the socket bound to this port; without one it is lost.
void Put(uint16_t port, const Bytes& datagram);

// The sockets that the engine has its receiver watch and that have a datagram, in the order of their descriptors.
std::vector<CTextSocketInfo*> Readable();

size_t OpenSockets();

} // namespace memory_network

#endif
