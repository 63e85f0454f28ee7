#include "net/CSocket.h"

#include "util/VRNLog.h"

#include <arpa/inet.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

namespace {

// The platform's socket mark (netd): which network a socket uses and on whose say.
constexpr unsigned int MARK_EXPLICITLY_SELECTED = 1U << 16;
constexpr unsigned int MARK_PERMISSION_SYSTEM = 3U << 18;

bool ParseIPv4(const char* ip, uint16_t portNetworkOrder, SockAddr& addr) {
    sockaddr_in parsed{};
    if (inet_pton(AF_INET, ip, &parsed.sin_addr) != 1) {
        return false;
    }
    parsed.sin_family = AF_INET;
    parsed.sin_port = portNetworkOrder;
    addr.v4 = parsed;
    return true;
}

bool ParseIPv6(const char* ip, uint16_t portNetworkOrder, SockAddr& addr) {
    sockaddr_in6 parsed{};
    if (inet_pton(AF_INET6, ip, &parsed.sin6_addr) != 1) {
        return false;
    }
    parsed.sin6_family = AF_INET6;
    parsed.sin6_port = portNetworkOrder;
    addr.v6 = parsed;
    return true;
}

// Both families have their port at the same place.
uint16_t StoredPort(const SockAddr& addr) {
    return addr.v4.sin_port;
}

} // namespace

CSocket::CSocket() : m_pSocketInfo(new CTextSocketInfo) {}

CSocket::~CSocket() {
    delete m_pSocketInfo;
}

void CSocket::SetAddress(char* ip, int port, SockAddr& addr) {
    const uint16_t portNetworkOrder = htons(static_cast<uint16_t>(port));
    if (ParseIPv4(ip, portNetworkOrder, addr)) {
        m_bIsIPV6 = false;
    } else if (ParseIPv6(ip, portNetworkOrder, addr)) {
        m_bIsIPV6 = true;
    }
    VRN_LOG(VRN_LOG_TRACE, "%s: m_bIsIPV6:%d", m_bIsIPV6);
}

int CSocket::Create(char* ip, short port, int netId, SockAddr& addr) {
    SetAddress(ip, port, addr);
    const int fd = socket(m_bIsIPV6 ? AF_INET6 : AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, IPPROTO_UDP);
    if (fd < 0) {
        VRN_LOG(VRN_LOG_TRACE, "%s: Call to socket() resulted in error");
        return -1;
    }
    // Kept: this is the call the far ends' traffic classes were set up with. The kernel reads the first four bytes of
    // the time value, so the type of service is 0.
    const timeval typeOfService = {0, 100000};
    if (setsockopt(fd, IPPROTO_IP, IP_TOS, &typeOfService, sizeof(typeOfService)) != 0) {
        VRN_LOG(VRN_LOG_TRACE, "%s: setsockopt() failed");
        close(fd);
        return -1;
    }
    const unsigned int mark = static_cast<unsigned int>(netId) + (MARK_EXPLICITLY_SELECTED | MARK_PERMISSION_SYSTEM);
    if (netId >= 1 && setsockopt(fd, SOL_SOCKET, SO_MARK, &mark, sizeof(mark)) != 0) {
        VRN_LOG(VRN_LOG_TRACE, "%s: setsockopt netid(%d) failed", netId);
        close(fd);
        return -1;
    }
    const int bound = bind(fd, &addr.generic, AddressLength());
    VRN_LOG(VRN_LOG_TRACE, "%s: Socket Bind Local port:%d, htons:%d", port, StoredPort(addr));
    if (bound != 0) {
        VRN_LOG(VRN_LOG_TRACE, "%s: Socket Bind failed:%d", bound);
        close(fd);
        return -1;
    }
    VRN_LOG(VRN_LOG_TRACE, "%s: Socket Create and Bind success (%d)", fd);
    m_pSocketInfo->m_nSockFd = fd;
    return 1;
}

int CSocket::Close() {
    const int fd = m_pSocketInfo->m_nSockFd;
    m_pSocketInfo->m_nSockFd = -1;
    const int result = close(fd);
    if (result != 0) {
        VRN_LOG(VRN_LOG_TRACE, "%s: Socket Close failed:%d", result);
        return -1;
    }
    return 1;
}

void CSocket::SetParams(unsigned int channelId, VRN_SOCK_TYPE type) {
    m_pSocketInfo->m_nChannelId = channelId;
    m_pSocketInfo->m_eSockType = type;
}

int CSocket::GetSockFd() {
    return m_pSocketInfo->m_nSockFd;
}

int CSocket::Sendto(unsigned char* buf, int len, SockAddr& addr) {
    const int sent = static_cast<int>(
        sendto(m_pSocketInfo->m_nSockFd, buf, static_cast<size_t>(len), 0, &addr.generic, AddressLength()));
    VRN_LOG(VRN_LOG_TRACE, "%s: RTT TX: len:%d port=%d", sent, StoredPort(addr));
    return sent;
}

int CSocket::RecvFrom(unsigned char* buf, int len) {
    SockAddr source{};
    socklen_t sourceLength = AddressLength();
    // A datagram can be reported twice and be gone the second time, and the caller holds a lock: never wait here.
    const int received = static_cast<int>(recvfrom(m_pSocketInfo->m_nSockFd, buf, static_cast<size_t>(len),
                                                   MSG_DONTWAIT, &source.generic, &sourceLength));
    VRN_LOG(VRN_LOG_TRACE, "%s: Socket Recv Data Len: %d", received);
    return received;
}
