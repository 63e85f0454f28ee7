// How many packets a call has sent and received. The engine has no counters for its host; its log has a line for each
// packet, and these lines are fixed, so they are what is counted:
//
//   CSocket::Sendto(): RTT TX: len:LENGTH port=PORT                       sent; the port says RTP or RTCP
//   CTextTransportManager::ProcessRecvdRTP(): RTT RX: Recvd PT:...        an RTP packet received
//   CSocket::RecvFrom(): Socket Recv Data Len: LENGTH                     any packet received; the rest is RTCP
//
// They are trace lines: with a lower VRNlogLevel nothing is counted.
#ifndef TOOLS_CALL_PACKET_COUNTER_H
#define TOOLS_CALL_PACKET_COUNTER_H

#include <atomic>
#include <cstdint>

struct PacketCounts {
    uint32_t rtpSent = 0;
    uint32_t rtpReceived = 0;
    uint32_t rtcpSent = 0;
    uint32_t rtcpReceived = 0;
};

// Thread-safe.
class PacketCounter {
public:
    // The port to which RTCP is sent.
    void SetRemoteRtcpPort(uint16_t port) { m_nRemoteRtcpPort = port; }
    // A line of the engine's log, NUL-terminated.
    void Count(const char* line);
    PacketCounts Counts() const;

private:
    std::atomic<uint16_t> m_nRemoteRtcpPort{0};
    std::atomic<uint32_t> m_nRtpSent{0};
    std::atomic<uint32_t> m_nRtcpSent{0};
    std::atomic<uint32_t> m_nReceived{0}; // RTP and RTCP
    std::atomic<uint32_t> m_nRtpReceived{0};
};

#endif
