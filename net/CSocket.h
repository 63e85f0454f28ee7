// A UDP socket, IPv4 or IPv6, bound to a local address and marked with a platform network.
#ifndef NET_CSOCKET_H
#define NET_CSOCKET_H

#include "net/CTextSocketInfo.h"

#include <netinet/in.h>

// A socket address of either family; zero until the first address is set.
union SockAddr {
    sockaddr generic;
    sockaddr_in v4;
    sockaddr_in6 v6;
};

// Guarded by its owner's locks: one thread sets it up and closes it, while another may be sending only under a lock
// that the closing thread takes first.
class CSocket {
public:
    CSocket();
    ~CSocket();
    CSocket(const CSocket&) = delete;
    CSocket& operator=(const CSocket&) = delete;

    // Fills `addr` from an address in text form and a port in host order, and takes the address's family for sending.
    // Text that is no address changes nothing.
    void SetAddress(char* ip, int port, SockAddr& addr);

    // Opens the socket on a local address. A network id of 1 or more marks it, which needs the right to. 1, or -1: no
    // socket, an option refused, or the address not to be bound; then nothing stays open.
    int Create(char* ip, short port, int netId, SockAddr& addr);

    // Closes the socket, once: its number is forgotten. 1, or -1 when there was none to close.
    int Close();

    void SetParams(unsigned int channelId, VRN_SOCK_TYPE type);

    // -1 while there is none.
    int GetSockFd();

    CTextSocketInfo* Info() { return m_pSocketInfo; }

    // Whether the owner has the network receiver watch this socket.
    bool IsWatched() const { return m_bIsWatched; }
    void SetWatched(bool watched) { m_bIsWatched = watched; }

    // Sends one datagram. The bytes sent, or -1.
    int Sendto(unsigned char* buf, int len, SockAddr& addr);

    // Takes one waiting datagram, the first `len` bytes of it; never waits. The bytes received, or -1 also when none
    // waits.
    int RecvFrom(unsigned char* buf, int len);

private:
    socklen_t AddressLength() const { return m_bIsIPV6 ? sizeof(sockaddr_in6) : sizeof(sockaddr_in); }

    CTextSocketInfo* m_pSocketInfo;
    bool m_bIsIPV6 = false; // of the last address set
    bool m_bIsWatched = false;
};

#endif
