#include "call/PacketCounter.h"

#include <arpa/inet.h>
#include <cstdio>
#include <cstring>

namespace {

constexpr const char* RTP_RECEIVED = "CTextTransportManager::ProcessRecvdRTP(): RTT RX: ";
constexpr const char* SENT = "CSocket::Sendto(): RTT TX: len:%d port=%d";
constexpr const char* RECEIVED = "CSocket::RecvFrom(): Socket Recv Data Len: %d";

// The shortest RTCP packet (RFC 3550, 6.4); what is shorter is none.
constexpr int RTCP_HEADER_SIZE = 8;

} // namespace

void PacketCounter::Count(const char* line) {
    int length = 0;
    int port = 0;
    if (sscanf(line, SENT, &length, &port) == 2 && length > 0) {
        // The line has the port's bytes as they are on the wire.
        const bool isRtcp = ntohs(static_cast<uint16_t>(port)) == m_nRemoteRtcpPort;
        ++(isRtcp ? m_nRtcpSent : m_nRtpSent);
    } else if (sscanf(line, RECEIVED, &length) == 1 && length >= RTCP_HEADER_SIZE) {
        ++m_nReceived;
    } else if (strncmp(line, RTP_RECEIVED, strlen(RTP_RECEIVED)) == 0) {
        ++m_nRtpReceived;
    }
}

PacketCounts PacketCounter::Counts() const {
    // RTP first: one that arrives in between must not make the difference negative.
    const uint32_t rtpReceived = m_nRtpReceived;
    return {m_nRtpSent, rtpReceived, m_nRtcpSent, m_nReceived - rtpReceived};
}
