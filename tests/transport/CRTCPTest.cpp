#include "transport/CRTCP.h"

#include "tests/support/LogCapture.h"
#include "tests/support/ManualTime.h"
#include "tests/support/UdpPeer.h"

#include <gtest/gtest.h>

namespace {

class CRTCPReports : public ::testing::Test {
protected:
    CRTCPReports() {
        manual_time::Reset();
        manual_time::SetTick(90000);
        manual_time::SetNtp(0xE1E2E3E4, 0xF1F2F3F4);
        m_Out.m_nVersion = 2;
        m_Out.m_nReportCount = 1;
        m_Out.m_nSSRC = 0x0A0B0C0D;
        m_Out.m_pBuffer = m_OutBuffer.data();
        m_RtpSend.m_nPacketCount = 5;
        m_RtpSend.m_nOctetCount = 77;
        m_RtpRecv.m_nBaseSeqNum = 100;
        m_RtpRecv.m_nMaxExtSeqNum = 109; // 10 expected
        m_RtpRecv.m_nPacketCount = 10;
        m_RtpRecv.m_nJitter = 33;
        m_In.m_nSSRC = 0x51525354;
    }

    Bytes SenderReport() {
        m_Rtcp.MakeRtcpSRPacket(&m_Out, &m_In, &m_RtpSend, &m_RtpRecv);
        return {m_OutBuffer.begin(), m_OutBuffer.begin() + m_Out.m_nPacketLen};
    }

    Bytes ReceiverReport() {
        const uint32_t length = m_Rtcp.MakeRtcpRRPacket(&m_Out, &m_In, &m_RtpRecv);
        EXPECT_EQ(length, m_Out.m_nPacketLen);
        return {m_OutBuffer.begin(), m_OutBuffer.begin() + length};
    }

    // What a report says of loss: the fraction and the 24 bits of the count.
    std::vector<uint32_t> Loss() {
        const Bytes report = ReceiverReport();
        return {report[12], report[13] * 65536U + report[14] * 256U + report[15]};
    }

    int Parse(const Bytes& packet) {
        std::copy(packet.begin(), packet.end(), m_InBuffer.begin());
        return m_Rtcp.ParseRtcpPacket(&m_In, m_InBuffer.data());
    }

    CRTCP m_Rtcp;
    Bytes m_OutBuffer = Bytes(RTCP_BUFFER_SIZE);
    Bytes m_InBuffer = Bytes(RTCP_BUFFER_SIZE);
    VRN_RTCPStruct_st m_Out, m_In;
    VRN_RTPStruct_st m_RtpSend, m_RtpRecv;
};

Datagram ReportBlock(uint32_t lsr, uint32_t dlsr) {
    return Datagram()
        .U32(0x51525354) // source: the SSRC of the far end's RTCP
        .U32(0)          // nothing lost
        .U32(109)        // highest extended sequence number
        .U32(2)          // jitter 33 / 16
        .U32(lsr)
        .U32(dlsr);
}

TEST_F(CRTCPReports, ASenderReportHasABlockOnlyAfterNewPackets) {
    const Bytes header = Datagram()
                             .U8(0x80)        // version 2, no report block
                             .U8(200)         // SR
                             .U16(6)          // 7 words
                             .U32(0x0A0B0C0D) // own SSRC
                             .U32(0xE1E2E3E4)
                             .U32(0xF1F2F3F4) // NTP time
                             .U32(90000)      // RTP timestamp: the tick count
                             .U32(5)          // packets
                             .U32(77);        // octets
    EXPECT_EQ(header, SenderReport());
    m_RtpRecv.m_bNewData = 1;
    Bytes expected = header;
    expected[0] = 0x81;
    expected[3] = 12;
    const Bytes block = ReportBlock(0, 0);
    expected.insert(expected.end(), block.begin(), block.end());
    EXPECT_EQ(expected, SenderReport()); // 52 bytes
    EXPECT_EQ(header, SenderReport());
}

TEST_F(CRTCPReports, AReceiverReportAlwaysHasItsBlockEvenUnderACountOfZero) {
    const Bytes block = ReportBlock(0, 0);
    Bytes expected = Datagram().U8(0x81).U8(201).U16(7).U32(0x0A0B0C0D);
    expected.insert(expected.end(), block.begin(), block.end());
    m_RtpRecv.m_bNewData = 1;
    EXPECT_EQ(expected, ReceiverReport());
    EXPECT_EQ(0, m_RtpRecv.m_bNewData);
    SenderReport(); // without a block
    expected[0] = 0x80;
    expected[3] = 1;
    EXPECT_EQ(expected, ReceiverReport()); // 32 bytes all the same
}

TEST_F(CRTCPReports, LossIsTheShareSinceTheLastReportAndTheCountInAll) {
    const struct {
        uint32_t maxExtSeqNum, received;
        uint32_t fraction, cumulative; // 24 bits
    } reports[] = {
        {109, 10, 0, 0},        // 10 of 10
        {117, 16, 64, 2},       // 2 of 8
        {117, 16, 0, 2},        // none expected
        {127, 16, 0, 12},       // 10 of 10: 256, of which the byte keeps 0
        {137, 17, 230, 21},     // 9 of 10
        {138, 21, 0, 18},       // more than expected: late ones
        {139, 60, 0, 0xFFFFEC}, // duplicates: -20
        {149, 61, 0, 0xFFFFF5}, // loss, but none in all: -11
    };
    for (const auto& report : reports) {
        m_RtpRecv.m_nMaxExtSeqNum = report.maxExtSeqNum;
        m_RtpRecv.m_nPacketCount = report.received;
        EXPECT_EQ((std::vector<uint32_t>{report.fraction, report.cumulative}), Loss()) << report.maxExtSeqNum;
    }
}

TEST_F(CRTCPReports, TheLastSenderReportIsEchoedWithItsAge) {
    const struct {
        uint32_t ageMs, dlsr;
    } cases[] = {{0, 0}, {1, 65}, {1500, 98304}, {65536, 0}, {70000, 292552}}; // (age << 16, cut to 32 bits) / 1000
    for (const auto& c : cases) {
        manual_time::SetTick(90000);
        ASSERT_EQ(1, Parse(Datagram().U8(0x80).U8(200).U16(6).U32(0x51525354).U32(0xAAAA1234).U32(0x5678BBBB)));
        manual_time::SetTick(90000 + c.ageMs);
        const Bytes block = ReportBlock(0x12345678, c.dlsr);
        const Bytes report = ReceiverReport();
        EXPECT_EQ(block, Bytes(report.begin() + 8, report.end())) << c.ageMs;
    }
}

TEST_F(CRTCPReports, ReportsAreReadFieldByField) {
    const Bytes block = Datagram()
                            .U32(0x0A0B0C0D) // source
                            .U8(64)          // fraction
                            .U8(0xFF)
                            .U16(0xFFEC) // count, as 24 bits without a sign
                            .U32(0x00010005)
                            .U32(6)
                            .U32(7)
                            .U32(8);
    const auto readBlock = [this] {
        return std::vector<uint32_t>{m_In.m_nBlockSSRC,    m_In.m_nFractionLost, uint32_t(m_In.m_nCumulativeLost),
                                     m_In.m_nMaxExtSeqNum, m_In.m_nJitter,       m_In.m_nLSR,
                                     m_In.m_nDLSR};
    };
    const std::vector<uint32_t> expected = {0x0A0B0C0D, 64, 0xFFFFEC, 0x00010005, 6, 7, 8};
    Bytes sr = Datagram().U8(0xA1).U8(200).U16(12).U32(0x01020304).U32(11).U32(12).U32(13).U32(14).U32(15);
    sr.insert(sr.end(), block.begin(), block.end());
    EXPECT_EQ(1, Parse(sr));
    EXPECT_EQ(
        (std::vector<uint32_t>{2, 1, 1, 12, 0x01020304, 11, 12, 13, 14, 15, 90000, 90000}),
        (std::vector<uint32_t>{m_In.m_nVersion, m_In.m_nPadding, m_In.m_nReportCount, m_In.m_nLength, m_In.m_nSSRC,
                               m_In.m_nNtpSeconds, m_In.m_nNtpFraction, m_In.m_nRtpTimestamp, m_In.m_nPacketCount,
                               m_In.m_nOctetCount, m_In.m_nLastArrivalTick, m_In.m_nLastSRTick}));
    EXPECT_EQ(expected, readBlock());

    m_In = {};
    Bytes rr = Datagram().U8(0x80).U8(201).U16(1).U32(0x01020304); // a count of 0: the block is read all the same
    rr.insert(rr.end(), block.begin(), block.end());
    EXPECT_EQ(1, Parse(rr));
    EXPECT_EQ(90000U, m_In.m_nLastArrivalTick);
    EXPECT_EQ(0U, m_In.m_nLastSRTick);
    EXPECT_EQ(expected, readBlock());

    m_In = {};
    EXPECT_EQ(1, Parse(Datagram().U8(0x80).U8(201).U16(1).U16(0x0908))); // cut: the rest is the datagram before it
    EXPECT_EQ(0x09080304U, m_In.m_nSSRC);
    EXPECT_EQ(expected, readBlock());
    m_In = {};
    EXPECT_EQ(1, Parse(Datagram().U8(0x80).U8(200).U16(6))); // without a count a sender report has no block
    EXPECT_EQ(std::vector<uint32_t>(7), readBlock());
}

TEST_F(CRTCPReports, OtherPacketsAreRefusedWithALineAndCountAsSilence) {
    const struct {
        Bytes start;
        const char* line;
    } cases[] = {
        {{0x81, 203}, "CRTCP::ParseRtcpPacket(): Invalid RTCP Packet Type:203"}, // BYE
        {{0x81, 202}, "CRTCP::ParseRtcpPacket(): Invalid RTCP Packet Type:202"}, // SDES
        {{0x80, 204}, "CRTCP::ParseRtcpPacket(): Invalid RTCP Packet Type:204"}, // APP
        {{0x41, 200}, "CRTCP::ParseRtcpPacket(): Invalid RTP Version:1"},
    };
    for (const auto& c : cases) {
        LogCapture log;
        EXPECT_EQ(-1, Parse(c.start));
        EXPECT_EQ((std::vector<std::string>{c.line}), log.Lines());
        EXPECT_EQ(0U, m_In.m_nLastArrivalTick);
        EXPECT_EQ(0x51525354U, m_In.m_nSSRC);
    }
    LogCapture log;
    EXPECT_EQ(-1, m_Rtcp.ParseRtcpPacket(&m_In, nullptr));
    EXPECT_EQ((std::vector<std::string>{"CRTCP::ParseRtcpPacket(): Null Pointer received"}), log.Lines());
}

} // namespace
