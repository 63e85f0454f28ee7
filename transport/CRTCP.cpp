#include "transport/CRTCP.h"

#include "util/ByteReader.h"
#include "util/VRNClock.h"
#include "util/VRNLog.h"

// RFC 3550, 6.4.1 and 6.4.2:
//
//   offset  size  sender report (200)                        receiver report (201)
//   0       1     version (bits 7-6), P (5), RC (4-0)        the same
//   1       1     200                                        201
//   2       2     length in 32-bit words minus one           the same
//   4       4     SSRC of the sender                         the same
//   8       4     NTP time, seconds                          report block
//   12      4     NTP time, fraction
//   16      4     RTP timestamp
//   20      4     sender's packet count
//   24      4     sender's octet count
//   28      24    report block, if RC is 1
//
// Report block, from its start:
//
//   0       4     SSRC of the source reported on
//   4       1     fraction lost
//   5       3     cumulative number of packets lost
//   8       4     extended highest sequence number received
//   12      4     interarrival jitter
//   16      4     last SR (LSR)
//   20      4     delay since last SR (DLSR)

namespace {

constexpr uint32_t SENDER_INFO_OFFSET = 8;
constexpr uint32_t SENDER_BLOCK_OFFSET = 28;
constexpr uint32_t RECEIVER_BLOCK_OFFSET = 8;
constexpr uint32_t REPORT_BLOCK_SIZE = 24;
constexpr uint16_t SENDER_WORDS = 6; // length field of a sender report without a block
constexpr uint16_t BLOCK_WORDS = 6;
constexpr uint16_t RECEIVER_WORDS = 1; // length field of a receiver report without a block
constexpr uint32_t JITTER_SCALE = 16;
constexpr uint32_t MS_PER_SECOND = 1000;

// A place in a report's buffer. An offset past its end leaves nothing to write to.
ByteWriter WriterAt(uint8_t* buffer, uint32_t offset) {
    return offset <= RTCP_BUFFER_SIZE ? ByteWriter(buffer + offset, RTCP_BUFFER_SIZE - offset) : ByteWriter(nullptr, 0);
}

void WriteHeader(const VRN_RTCPStruct_st& out) {
    ByteWriter writer = WriterAt(out.m_pBuffer, 0);
    writer.U8(static_cast<uint32_t>(out.m_nVersion << 6 | out.m_nPadding << 5 | out.m_nReportCount));
    writer.U8(out.m_nPacketType);
    writer.U16(out.m_nLength);
    writer.U32(out.m_nSSRC);
}

// Loss since the previous report and in all (RFC 3550, A.3).
void CountLoss(VRN_RTCPStruct_st& out, const VRN_RTPStruct_st& rtpRecv) {
    const uint32_t expected = rtpRecv.m_nMaxExtSeqNum + 1 - rtpRecv.m_nBaseSeqNum;
    const uint32_t received = rtpRecv.m_nPacketCount;
    const uint32_t expectedInterval = expected - out.m_nExpectedPrior;
    const uint32_t receivedInterval = received - out.m_nReceivedPrior;
    const uint32_t lostInterval = expectedInterval > receivedInterval ? expectedInterval - receivedInterval : 0;
    out.m_nExpectedPrior = expected;
    out.m_nReceivedPrior = received;
    out.m_nCumulativeLost = static_cast<int32_t>(expected - received);
    const bool noLoss = expectedInterval == 0 || lostInterval == 0 || out.m_nCumulativeLost < 0;
    out.m_nFractionLost = noLoss ? 0 : (lostInterval * 256) / expectedInterval;
}

} // namespace

void CRTCP::MakeRtcpSRPacket(VRN_RTCPStruct_st* out, VRN_RTCPStruct_st* in, VRN_RTPStruct_st* rtpSend,
                             VRN_RTPStruct_st* rtpRecv) {
    out->m_nPacketType = RTCP_SENDER_REPORT;
    out->m_nReportCount = rtpRecv->m_bNewData;
    out->m_nLength = out->m_nReportCount == 1 ? SENDER_WORDS + BLOCK_WORDS : SENDER_WORDS;
    WriteHeader(*out);
    VRNGetNTPTime(&out->m_nNtpSeconds, &out->m_nNtpFraction);
    out->m_nPacketCount = rtpSend->m_nPacketCount;
    out->m_nOctetCount = rtpSend->m_nOctetCount;
    ByteWriter writer = WriterAt(out->m_pBuffer, SENDER_INFO_OFFSET);
    writer.U32(out->m_nNtpSeconds);
    writer.U32(out->m_nNtpFraction);
    writer.U32(VRNGetTickCount());
    writer.U32(out->m_nPacketCount);
    writer.U32(out->m_nOctetCount);
    out->m_nPacketLen = SENDER_BLOCK_OFFSET;
    if (rtpRecv->m_bNewData != 0) {
        rtpRecv->m_bNewData = 0;
        out->m_nPacketLen = MakeRtcpRRBlock(out, in, rtpRecv, SENDER_BLOCK_OFFSET);
    }
}

// Kept: the report count is the last sender report's, so after one without a block this says RC 0, and carries its
// block all the same.
uint32_t CRTCP::MakeRtcpRRPacket(VRN_RTCPStruct_st* out, VRN_RTCPStruct_st* in, VRN_RTPStruct_st* rtpRecv) {
    out->m_nPacketType = RTCP_RECEIVER_REPORT;
    out->m_nLength = static_cast<uint16_t>(out->m_nReportCount * BLOCK_WORDS + RECEIVER_WORDS);
    WriteHeader(*out);
    VRNGetNTPTime(&out->m_nNtpSeconds, &out->m_nNtpFraction);
    rtpRecv->m_bNewData = 0;
    out->m_nPacketLen = MakeRtcpRRBlock(out, in, rtpRecv, RECEIVER_BLOCK_OFFSET);
    return out->m_nPacketLen;
}

// Kept: the source reported on is the one the last RTCP packet came from.
uint32_t CRTCP::MakeRtcpRRBlock(VRN_RTCPStruct_st* out, VRN_RTCPStruct_st* in, VRN_RTPStruct_st* rtpRecv,
                                unsigned int offset) {
    CountLoss(*out, *rtpRecv);
    out->m_nMaxExtSeqNum = rtpRecv->m_nMaxExtSeqNum;
    out->m_nJitter = rtpRecv->m_nJitter / JITTER_SCALE;
    out->m_nLSR = in->m_nNtpSeconds << 16 | in->m_nNtpFraction >> 16;
    out->m_nDLSR =
        in->m_nLastSRTick == 0 ? 0 : (VRNDiffTime(VRNGetTickCount(), in->m_nLastSRTick) << 16) / MS_PER_SECOND;
    ByteWriter writer = WriterAt(out->m_pBuffer, offset);
    writer.U32(in->m_nSSRC);
    writer.U8(out->m_nFractionLost);
    writer.U24(static_cast<uint32_t>(out->m_nCumulativeLost));
    writer.U32(out->m_nMaxExtSeqNum);
    writer.U32(out->m_nJitter);
    writer.U32(out->m_nLSR);
    writer.U32(out->m_nDLSR);
    return offset + REPORT_BLOCK_SIZE;
}

int CRTCP::ParseRtcpPacket(VRN_RTCPStruct_st* in, unsigned char* buffer) {
    const uint32_t now = VRNGetTickCount();
    if (buffer == nullptr) {
        VRN_LOG(VRN_LOG_TRACE, "%s: Null Pointer received");
        return -1;
    }
    ByteReader reader(buffer, RTCP_BUFFER_SIZE);
    const uint8_t first = reader.U8();
    in->m_nVersion = first >> 6;
    if (in->m_nVersion != RTP_VERSION) {
        // Kept: the line says RTP.
        VRN_LOG(VRN_LOG_TRACE, "%s: Invalid RTP Version:%d", in->m_nVersion);
        return -1;
    }
    in->m_nPadding = (first >> 5) & 1;
    in->m_nReportCount = first & 0x1F;
    in->m_nPacketType = reader.U8();
    in->m_nLength = reader.U16();
    if (in->m_nPacketType == RTCP_RECEIVER_REPORT) {
        in->m_nLastArrivalTick = now;
        in->m_nSSRC = reader.U32();
        return ParseRtcpRRBlock(in, buffer, RECEIVER_BLOCK_OFFSET);
    }
    if (in->m_nPacketType != RTCP_SENDER_REPORT) {
        VRN_LOG(VRN_LOG_TRACE, "%s: Invalid RTCP Packet Type:%d", in->m_nPacketType);
        return -1;
    }
    in->m_nLastArrivalTick = now;
    in->m_nLastSRTick = now;
    in->m_nSSRC = reader.U32();
    in->m_nNtpSeconds = reader.U32();
    in->m_nNtpFraction = reader.U32();
    in->m_nRtpTimestamp = reader.U32();
    in->m_nPacketCount = reader.U32();
    in->m_nOctetCount = reader.U32();
    if (in->m_nReportCount != 0) {
        ParseRtcpRRBlock(in, buffer, SENDER_BLOCK_OFFSET);
    }
    return 1;
}

int CRTCP::ParseRtcpRRBlock(VRN_RTCPStruct_st* in, unsigned char* buffer, unsigned int offset) {
    ByteReader reader(buffer, RTCP_BUFFER_SIZE);
    reader.Skip(offset);
    in->m_nBlockSSRC = reader.U32();
    in->m_nFractionLost = reader.U8();
    in->m_nCumulativeLost = static_cast<int32_t>(reader.U24());
    in->m_nMaxExtSeqNum = reader.U32();
    in->m_nJitter = reader.U32();
    in->m_nLSR = reader.U32();
    in->m_nDLSR = reader.U32();
    return 1;
}
