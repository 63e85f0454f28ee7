#include "transport/CRTCP.h"

#include "tests/support/ManualTime.h"
#include "tests/support/UdpPeer.h"

#include <gtest/gtest.h>

namespace {

constexpr uint32_t NOW = 90000;

class CRTCPReports : public ::testing::Test {
protected:
    CRTCPReports() {
        manual_time::Reset();
        manual_time::SetTick(NOW);
        manual_time::SetNtp(0xE1E2E3E4, 0xF1F2F3F4);
        m_Out.m_nVersion = 2;
        m_Out.m_nSSRC = 0x0A0B0C0D;
        m_Out.m_pBuffer = m_Buffer.data();
    }

    CRTCP m_Rtcp;
    Bytes m_Buffer = Bytes(RTCP_BUFFER_SIZE);
    VRN_RTCPStruct_st m_Out, m_In;
    VRN_RTPStruct_st m_RtpSend, m_RtpRecv;
};

TEST_F(CRTCPReports, SenderReportsHaveABlockAfterNewPacketsOnlyReceiverReportsAlways) {
    m_In.m_nSSRC = 0x51525354;
    m_RtpSend.m_nPacketCount = 5;
    m_RtpSend.m_nOctetCount = 77;
    m_RtpRecv.m_nMaxExtSeqNum = 9;
    m_RtpRecv.m_nPacketCount = 10;
    m_RtpRecv.m_nJitter = 33;
    const Bytes info = Datagram()
                           .U32(0xE1E2E3E4) // NTP time
                           .U32(0xF1F2F3F4)
                           .U32(NOW) // RTP timestamp: the tick count
                           .U32(5)   // packets
                           .U32(77); // octets
    const Bytes block = Datagram()
                            .U32(0x51525354) // source: the SSRC of the far end's RTCP
                            .U32(0)          // nothing lost
                            .U32(9)          // highest extended sequence number
                            .U32(2)          // jitter 33 / 16
                            .U32(0)          // no sender report came
                            .U32(0);
    const struct {
        uint8_t newData;
        uint32_t start;
        bool hasInfo, hasBlock;
    } cases[] = {
        {0, 0x80C80006, true, false}, {1, 0x81C8000C, true, true},  {1, 0x81C90007, false, true},
        {0, 0x80C80006, true, false}, {0, 0x80C90001, false, true}, // kept: a receiver report has the count of the sender report before it
    };
    for (const auto& c : cases) {
        m_RtpRecv.m_bNewData = c.newData;
        c.hasInfo ? m_Rtcp.MakeRtcpSRPacket(&m_Out, &m_In, &m_RtpSend, &m_RtpRecv)
                  : void(m_Rtcp.MakeRtcpRRPacket(&m_Out, &m_In, &m_RtpRecv));
        Bytes expected = Datagram().U32(c.start).U32(0x0A0B0C0D);
        expected.insert(expected.end(), info.begin(), c.hasInfo ? info.end() : info.begin());
        expected.insert(expected.end(), block.begin(), c.hasBlock ? block.end() : block.begin());
        EXPECT_EQ(expected, Bytes(m_Buffer.begin(), m_Buffer.begin() + m_Out.m_nPacketLen));
        EXPECT_EQ(0, m_RtpRecv.m_bNewData);
    }
}

TEST_F(CRTCPReports, LossIsTheShareSinceTheLastReportAndTheCountInAllAndAgesAreCutTo32Bits) {
    const struct {
        uint32_t maxExtSeqNum, received, ageMs;
        uint32_t loss; // fraction, and 24 bits of the count
        uint32_t dlsr;
    } reports[] = {
        {9, 10, 0, 0, 0},                    // 10 of 10
        {17, 16, 1, 0x40000002, 65},         // 2 lost of 8
        {17, 16, 1500, 2, 98304},            // none expected
        {27, 16, 65536, 12, 0},              // 10 of 10: 256, of which the byte keeps 0
        {37, 17, 70000, 0xE6000015, 292552}, // 9 of 10; the age << 16, cut, by 1000
        {38, 21, 0, 18, 0},                  // more than expected: late ones
        {39, 60, 0, 0xFFFFEC, 0},            // duplicates: -20
        {49, 61, 0, 0xFFFFF5, 0},            // loss, but none in all: -11
    };
    m_In.m_nLastSRTick = NOW;
    for (const auto& c : reports) {
        manual_time::SetTick(NOW + c.ageMs);
        m_RtpRecv.m_nMaxExtSeqNum = c.maxExtSeqNum;
        m_RtpRecv.m_nPacketCount = c.received;
        m_Rtcp.MakeRtcpRRPacket(&m_Out, &m_In, &m_RtpRecv);
        const Bytes expected = Datagram().U32(c.loss).U32(c.maxExtSeqNum).U32(0).U32(0).U32(c.dlsr);
        EXPECT_EQ(expected, Bytes(m_Buffer.begin() + 12, m_Buffer.begin() + 32)) << c.maxExtSeqNum;
    }
}

TEST_F(CRTCPReports, ReportsAreReadAndOtherPacketsRefused) {
    const std::vector<uint32_t> nothing(15);
    const struct {
        uint32_t start;
        std::vector<uint32_t> fields;
    } cases[] = {
        {0xA1C8000C, {11, 12, 13, 14, 15, 16, 17, 64, 0xFFFFEC, 19, 20, 21, 22, NOW, NOW}}, // SR
        {0x80C80006, {11, 12, 13, 14, 15, 16, 0, 0, 0, 0, 0, 0, 0, NOW, NOW}},              // without a block
        {0x80C90001, {11, 0, 0, 0, 0, 0, 12, 0, 13, 14, 15, 16, 17, NOW, 0}}, // RR: a block even under a count of 0
        {0x81CA0001, nothing},                                                // SDES
        {0x81CB0001, nothing},                                                // BYE
        {0x41C80006, nothing},                                                // version 1
    };
    for (const auto& c : cases) {
        Datagram packet = Datagram().U32(c.start);
        for (uint32_t word : {11U, 12U, 13U, 14U, 15U, 16U, 17U, 0x40FFFFECU, 19U, 20U, 21U, 22U}) {
            packet.U32(word);
        }
        Bytes buffer = packet;
        buffer.resize(RTCP_BUFFER_SIZE);
        VRN_RTCPStruct_st in;
        EXPECT_EQ(c.fields == nothing ? -1 : 1, m_Rtcp.ParseRtcpPacket(&in, buffer.data()));
        EXPECT_EQ(c.fields,
                  (std::vector<uint32_t>{in.m_nSSRC, in.m_nNtpSeconds, in.m_nNtpFraction, in.m_nRtpTimestamp,
                                         in.m_nPacketCount, in.m_nOctetCount, in.m_nBlockSSRC, in.m_nFractionLost,
                                         uint32_t(in.m_nCumulativeLost), in.m_nMaxExtSeqNum, in.m_nJitter, in.m_nLSR,
                                         in.m_nDLSR, in.m_nLastArrivalTick, in.m_nLastSRTick}));
    }
    EXPECT_EQ(-1, m_Rtcp.ParseRtcpPacket(&m_In, nullptr));
}

} // namespace
