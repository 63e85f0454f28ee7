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

} // namespace
