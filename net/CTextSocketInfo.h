// Which socket of which channel: what the network receiver reports when a socket becomes readable.
#ifndef NET_CTEXT_SOCKET_INFO_H
#define NET_CTEXT_SOCKET_INFO_H

#include <cstdint>

enum VRN_SOCK_TYPE : int32_t {
    VRN_SOCK_NONE = 0, // not yet set
    VRN_SOCK_RTP = 1,
    VRN_SOCK_RTCP = 2
};

struct CTextSocketInfo {
    int32_t m_nSockFd = -1; // -1 while there is no socket, and in reports on their way to the dispatch thread
    VRN_SOCK_TYPE m_eSockType = VRN_SOCK_NONE;
    uint32_t m_nChannelId = 0;
};

#endif
