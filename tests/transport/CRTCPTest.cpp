#include "transport/CRTCP.h"

#include "tests/support/ManualTime.h"
#include "tests/support/UdpPeer.h"

#include <gtest/gtest.h>

namespace {

constexpr uint32_t NOW = 90000;
constexpr uint32_t SSRC = 0x0A0B0C0D;
constexpr uint32_t FAR = 0x51525354; // the far end's

using Words = std::vector<uint32_t>; // a packet's, of 32 bits

class CRTCPReports : public ::testing::Test {
protected:
    CRTCPReports() {
        manual_time::Reset();
        manual_time::SetTick(NOW);
        manual_time::SetNtp(0xE1E2E3E4, 0xF1F2F3F4);
        m_Out.m_nVersion = 2;
        m_Out.m_nSSRC = SSRC;
        m_Out.m_pBuffer = m_Buffer;
        m_In.m_nSSRC = FAR;
    }

    Words Report(bool isSender) {
        isSender ? m_Rtcp.MakeRtcpSRPacket(&m_Out, &m_In, &m_RtpSend, &m_RtpRecv)
                 : void(m_Rtcp.MakeRtcpRRPacket(&m_Out, &m_In, &m_RtpRecv));
        Words words;
        for (const uint8_t* at = m_Buffer; at < m_Buffer + m_Out.m_nPacketLen; at += 4) {
            words.push_back(uint32_t(at[0] << 24 | at[1] << 16 | at[2] << 8 | at[3]));
        }
        return words;
    }

    CRTCP m_Rtcp;
    uint8_t m_Buffer[RTCP_BUFFER_SIZE] = {};
    VRN_RTCPStruct_st m_Out, m_In;
    VRN_RTPStruct_st m_RtpSend, m_RtpRecv;
};

TEST_F(CRTCPReports, SenderReportsHaveABlockAfterNewPacketsOnlyReceiverReportsAlways) {
    m_RtpSend.m_nPacketCount = 5;
    m_RtpSend.m_nOctetCount = 77;
    m_RtpRecv.m_nMaxExtSeqNum = 9;
    m_RtpRecv.m_nPacketCount = 10;
    m_RtpRecv.m_nJitter = 33; // in sixteenths
    // Of a sender: NTP time, tick count, packets, octets. A block: source, loss, highest number, jitter, no echo yet.
    const struct {
        bool isSender;
        uint8_t newData;
        Words words;
    } cases[] = {
        {true, 0, {0x80C80006, SSRC, 0xE1E2E3E4, 0xF1F2F3F4, NOW, 5, 77}},
        {true, 1, {0x81C8000C, SSRC, 0xE1E2E3E4, 0xF1F2F3F4, NOW, 5, 77, FAR, 0, 9, 2, 0, 0}},
        {false, 1, {0x81C90007, SSRC, FAR, 0, 9, 2, 0, 0}},
        {true, 0, {0x80C80006, SSRC, 0xE1E2E3E4, 0xF1F2F3F4, NOW, 5, 77}},
        {false, 0, {0x80C90001, SSRC, FAR, 0, 9, 2, 0, 0}}, // kept: the count is the sender report's before it
    };
    for (const auto& c : cases) {
        m_RtpRecv.m_bNewData = c.newData;
        EXPECT_EQ(c.words, Report(c.isSender));
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
    m_In.m_nNtpSeconds = 0xAAAA1234;
    m_In.m_nNtpFraction = 0x5678BBBB;
    for (const auto& c : reports) {
        manual_time::SetTick(NOW + c.ageMs);
        m_RtpRecv.m_nMaxExtSeqNum = c.maxExtSeqNum;
        m_RtpRecv.m_nPacketCount = c.received;
        EXPECT_EQ((Words{0x80C90001, SSRC, FAR, c.loss, c.maxExtSeqNum, 0, 0x12345678, c.dlsr}), Report(false));
    }
}

TEST_F(CRTCPReports, ReportsAreReadAndOtherPacketsRefused) {
    const Words nothing(15);
    const struct {
        uint32_t start;
        Words fields;
    } cases[] = {
        {0xA1C8000C, {11, 12, 13, 14, 15, 16, 17, 64, 0xFFFFEC, 19, 20, 21, 22, NOW, NOW}}, // SR
        {0x80C80006, {11, 12, 13, 14, 15, 16, 0, 0, 0, 0, 0, 0, 0, NOW, NOW}},              // without a block
        {0x80C90001, {11, 0, 0, 0, 0, 0, 12, 0, 13, 14, 15, 16, 17, NOW, 0}}, // RR: a block even under a count of 0
        {0x81CA0001, nothing},                                                // SDES
        {0x81CB0001, nothing},                                                // BYE
        {0x41C80006, nothing},                                                // version 1
    };
    for (const auto& c : cases) {
        Datagram packet;
        for (uint32_t word : {c.start, 11U, 12U, 13U, 14U, 15U, 16U, 17U, 0x40FFFFECU, 19U, 20U, 21U, 22U}) {
            packet.U32(word);
        }
        Bytes buffer = packet;
        buffer.resize(RTCP_BUFFER_SIZE);
        VRN_RTCPStruct_st in;
        EXPECT_EQ(c.fields == nothing ? -1 : 1, m_Rtcp.ParseRtcpPacket(&in, buffer.data()));
        const Words fields = {in.m_nSSRC,         in.m_nNtpSeconds,      in.m_nNtpFraction,
                              in.m_nRtpTimestamp, in.m_nPacketCount,     in.m_nOctetCount,
                              in.m_nBlockSSRC,    in.m_nFractionLost,    uint32_t(in.m_nCumulativeLost),
                              in.m_nMaxExtSeqNum, in.m_nJitter,          in.m_nLSR,
                              in.m_nDLSR,         in.m_nLastArrivalTick, in.m_nLastSRTick};
        EXPECT_EQ(c.fields, fields);
    }
    EXPECT_EQ(-1, m_Rtcp.ParseRtcpPacket(&m_In, nullptr));
}

} // namespace
