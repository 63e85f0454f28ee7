// RTCP reports (RFC 3550, 6.4): building the channel's sender or receiver report and reading the far end's. One packet
// a report: no compound packet, no SDES, no BYE.
#ifndef TRANSPORT_CRTCP_H
#define TRANSPORT_CRTCP_H

#include "transport/CRTP.h"

#include <cstdint>

constexpr uint32_t RTCP_BUFFER_SIZE = 200;
constexpr uint8_t RTCP_SENDER_REPORT = 200;
constexpr uint8_t RTCP_RECEIVER_REPORT = 201;

// The state of one direction of RTCP. Does not own the buffer, which has RTCP_BUFFER_SIZE bytes.
struct VRN_RTCPStruct_st {
    uint8_t m_nVersion = 0;
    uint8_t m_nPadding = 0;
    uint8_t m_nReportCount = 0;   // RC, 5 bits on the wire
    uint8_t m_nPacketType = 0;    // 200 (SR) or 201 (RR)
    uint16_t m_nLength = 0;       // 32-bit words minus one
    uint32_t m_nPacketLen = 0;    // outgoing: bytes to send
    uint32_t m_nSSRC = 0;         // the sender of the report
    uint8_t* m_pBuffer = nullptr; // where the packet is built or was received
    uint32_t m_nNtpSeconds = 0;
    uint32_t m_nNtpFraction = 0;
    uint32_t m_nRtpTimestamp = 0; // incoming SR
    uint32_t m_nPacketCount = 0;  // SR
    uint32_t m_nOctetCount = 0;   // SR
    uint32_t m_nBlockSSRC = 0;    // incoming: the source reported on
    uint32_t m_nFractionLost = 0; // 0 to 255
    int32_t m_nCumulativeLost = 0;
    uint32_t m_nMaxExtSeqNum = 0;
    uint32_t m_nJitter = 0;
    uint32_t m_nLSR = 0;             // middle 32 bits of the last SR's NTP time
    uint32_t m_nDLSR = 0;            // since then, in 1/65536 s
    uint32_t m_nLastArrivalTick = 0; // incoming: of the last SR or RR; the time-out counts from here
    uint32_t m_nLastSRTick = 0;      // incoming: of the last SR; 0 for none yet
    uint32_t m_nExpectedPrior = 0;   // outgoing: at the previous report
    uint32_t m_nReceivedPrior = 0;   // outgoing: at the previous report
};

// Stateless.
class CRTCP {
public:
    // Builds a sender report: 52 bytes with a report block when RTP came in since the last one, else 28.
    void MakeRtcpSRPacket(VRN_RTCPStruct_st* out, VRN_RTCPStruct_st* in, VRN_RTPStruct_st* rtpSend,
                          VRN_RTPStruct_st* rtpRecv);

    // Builds a receiver report with its block; returns its 32 bytes.
    uint32_t MakeRtcpRRPacket(VRN_RTCPStruct_st* out, VRN_RTCPStruct_st* in, VRN_RTPStruct_st* rtpRecv);

    // Writes a report block at `offset` of the outgoing buffer; returns the offset behind it.
    uint32_t MakeRtcpRRBlock(VRN_RTCPStruct_st* out, VRN_RTCPStruct_st* in, VRN_RTPStruct_st* rtpRecv,
                             unsigned int offset);

    // Reads a report from a buffer of RTCP_BUFFER_SIZE bytes, whatever of them the datagram filled: a report without
    // its block leaves the values of an earlier one in the record. 1; -1 for null, another version, or a packet that
    // is neither SR nor RR.
    int ParseRtcpPacket(VRN_RTCPStruct_st* in, unsigned char* buffer);

    // Reads the report block at `offset`. 1.
    int ParseRtcpRRBlock(VRN_RTCPStruct_st* in, unsigned char* buffer, unsigned int offset);
};

#endif
