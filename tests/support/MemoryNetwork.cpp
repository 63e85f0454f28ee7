#include "tests/support/MemoryNetwork.h"

#include "net/CSocket.h"

#include <algorithm>
#include <arpa/inet.h>
#include <deque>
#include <map>
#include <utility>

namespace {

constexpr int FIRST_DESCRIPTOR = 100;

struct Endpoint {
    CSocket* socket;
    uint16_t port;
    std::deque<Bytes> waiting;
};

std::map<int, Endpoint> s_Open; // by descriptor
std::vector<memory_network::SentDatagram> s_Sent;

auto FindPort(uint16_t port) {
    return std::find_if(s_Open.begin(), s_Open.end(), [port](const auto& entry) { return entry.second.port == port; });
}

} // namespace

namespace memory_network {

void Reset() {
    s_Open.clear();
    s_Sent.clear();
}

std::vector<SentDatagram> TakeSent() {
    return std::exchange(s_Sent, {});
}

void Put(uint16_t port, const Bytes& datagram) {
    const auto found = FindPort(port);
    if (found != s_Open.end()) {
        found->second.waiting.push_back(datagram);
    }
}

std::vector<CTextSocketInfo*> Readable() {
    std::vector<CTextSocketInfo*> readable;
    for (auto& [fd, endpoint] : s_Open) {
        if (endpoint.socket->IsWatched() && !endpoint.waiting.empty()) {
            readable.push_back(endpoint.socket->Info());
        }
    }
    return readable;
}

size_t OpenSockets() {
    return s_Open.size();
}

} // namespace memory_network

CSocket::CSocket() : m_pSocketInfo(new CTextSocketInfo) {}

CSocket::~CSocket() {
    delete m_pSocketInfo;
}

void CSocket::SetAddress(char* ip, int port, SockAddr& addr) {
    if (inet_pton(AF_INET, ip, &addr.v4.sin_addr) == 1) {
        addr.v4.sin_family = AF_INET;
        addr.v4.sin_port = htons(static_cast<uint16_t>(port));
    }
}

int CSocket::Create(char* ip, short port, int, SockAddr& addr) {
    SetAddress(ip, port, addr);
    const uint16_t bound = ntohs(addr.v4.sin_port);
    if (bound == 0 || FindPort(bound) != s_Open.end()) {
        return -1;
    }
    int fd = FIRST_DESCRIPTOR;
    while (s_Open.count(fd) != 0) {
        ++fd;
    }
    s_Open[fd] = {this, bound, {}};
    m_pSocketInfo->m_nSockFd = fd;
    return 1;
}

int CSocket::Close() {
    const size_t closed = s_Open.erase(m_pSocketInfo->m_nSockFd);
    m_pSocketInfo->m_nSockFd = -1;
    return closed == 1 ? 1 : -1;
}

void CSocket::SetParams(unsigned int channelId, VRN_SOCK_TYPE type) {
    m_pSocketInfo->m_nChannelId = channelId;
    m_pSocketInfo->m_eSockType = type;
}

int CSocket::GetSockFd() {
    return m_pSocketInfo->m_nSockFd;
}

int CSocket::Sendto(unsigned char* buf, int len, SockAddr& addr) {
    s_Sent.push_back({s_Open.at(m_pSocketInfo->m_nSockFd).port, ntohs(addr.v4.sin_port), Bytes(buf, buf + len)});
    return len;
}

int CSocket::RecvFrom(unsigned char* buf, int len) {
    std::deque<Bytes>& waiting = s_Open.at(m_pSocketInfo->m_nSockFd).waiting;
    if (waiting.empty()) {
        return -1;
    }
    const Bytes datagram = std::move(waiting.front());
    waiting.pop_front();
    const size_t taken = std::min(datagram.size(), static_cast<size_t>(len));
    std::copy_n(datagram.begin(), taken, buf);
    return static_cast<int>(taken);
}
