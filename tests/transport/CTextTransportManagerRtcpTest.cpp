#include "transport/CTextTransportManager.h"

#include "tests/support/TransportFixture.h"
#include "util/VRNClock.h"

namespace {

using CTextTransportManagerRtcp = TransportFixture;

constexpr int ANY_TIME = 100000; // ms, past everything a test waits for

TEST_F(CTextTransportManagerRtcp, ChannelsThatSendSendSenderReports) {
    const struct {
        int direction;
        uint8_t type;
        size_t size;
    } cases[] = {{0, 201, 32}, {1, 200, 28}, {2, 201, 32}, {3, 200, 28}, {5, 201, 32}, {-1, 201, 32}};
    ASSERT_EQ(1, m_pTransport->StartTransport());
    for (const auto& c : cases) {
        m_pTransport->SetDirection(static_cast<VRN_CHANNEL_STATUS>(c.direction));
        const Bytes report = Report();
        ASSERT_EQ(c.size, report.size()) << c.direction;
        EXPECT_EQ(c.type, report[1]) << c.direction;
        EXPECT_EQ(static_cast<const Bytes&>(Datagram().U32(FIRST_SSRC)), Bytes(report.begin() + 4, report.begin() + 8));
    }
}

TEST_F(CTextTransportManagerRtcp, ReportsGoOutEveryTwoSecondsWhileSwitchedOn) {
    ASSERT_EQ(1, m_pTransport->StartTransport());
    EXPECT_EQ(1, m_pTransport->SetRtcpEnable(true));
    manual_time::Advance(1000);
    EXPECT_EQ(1, m_pTransport->SetRtcpEnable(true)); // changes nothing
    for (uint32_t tick = START_TICK + 2000; tick <= START_TICK + 8000; tick += 2000) {
        manual_time::Advance(tick - 1 - VRNGetTickCount());
        EXPECT_TRUE(m_FarRtcp.Receive(0).empty());
        manual_time::Advance(1);
        const Bytes report = m_FarRtcp.Receive();
        ASSERT_EQ(28U, report.size());
        EXPECT_EQ(static_cast<const Bytes&>(Datagram().U32(tick)), Bytes(report.begin() + 16, report.begin() + 20));
    }
    EXPECT_EQ(1, m_pTransport->SetRtcpEnable(false));
    EXPECT_EQ(1, m_pTransport->SetRtcpEnable(false));
    EXPECT_EQ(0U, manual_time::ArmedTimers());
    EXPECT_EQ(0, m_Receiver.SetReadFDSet());
}

TEST_F(CTextTransportManagerRtcp, AReportOvertakenBySwitchingOffIsNeitherSentNorArmedAgain) {
    m_pTransport->SetRtcpTimeout(5);
    ASSERT_EQ(1, m_pTransport->StartTransport());
    m_pTransport->SetRtcpEnable(true);
    manual_time::Advance(1000); // past the time-out check
    manual_time::BeforeNextExpiry([this] { EXPECT_EQ(1, m_pTransport->SetRtcpEnable(false)); });
    manual_time::Advance(ANY_TIME);
    EXPECT_EQ(0U, manual_time::ArmedTimers());
    EXPECT_TRUE(m_FarRtcp.Receive(0).empty());
    // Off and on again before the old report got the lock: the new interval counts.
    m_pTransport->SetRtcpTimeout(0);
    m_pTransport->SetRtcpEnable(true);
    manual_time::BeforeNextExpiry([this] {
        m_pTransport->SetRtcpEnable(false);
        m_pTransport->SetRtcpEnable(true);
    });
    manual_time::Advance(3999);
    EXPECT_TRUE(m_FarRtcp.Receive(0).empty());
    manual_time::Advance(1);
    EXPECT_FALSE(m_FarRtcp.Receive().empty());
    // The same with a time-out that is due.
    m_pTransport->SetRtcpEnable(false);
    m_pTransport->SetRtcpTimeout(1);
    m_pTransport->SetRtcpEnable(true);
    manual_time::BeforeNextExpiry([this] { m_pTransport->SetRtcpEnable(false); });
    manual_time::Advance(ANY_TIME);
    EXPECT_EQ(0, Timeouts());
}

TEST_F(CTextTransportManagerRtcp, ReportsEndWithTheFirstThatCannotBeSent) {
    Configure(0, "::1"); // no way there from an IPv4 socket
    ASSERT_EQ(1, m_pTransport->StartTransport());
    for (size_t enabled = 1; enabled <= 2; ++enabled) {
        EXPECT_EQ(1, m_pTransport->SetRtcpEnable(true));
        EXPECT_EQ(1U, manual_time::ArmedTimers());
        manual_time::Advance(ANY_TIME);
        EXPECT_EQ(0U, manual_time::ArmedTimers());
        EXPECT_EQ(enabled, m_Log.Count("CTextTransportManager::GenerateAndSendRTCPReport(): RTCP Sendto failed"));
        EXPECT_EQ(1, m_pTransport->SetRtcpEnable(false));
    }
}

TEST_F(CTextTransportManagerRtcp, ATimerThatFailsFailsTheSwitchAndKeepsTheSocketWatched) {
    ASSERT_EQ(1, m_pTransport->StartTransport());
    manual_time::FailNextStarts(1);
    m_Log.Clear();
    EXPECT_EQ(-1, m_pTransport->SetRtcpEnable(true));
    EXPECT_TRUE(m_Log.Has("CTextTransportManager::StartReportTimer(): Start RTCP Timer failed (2)"));
    EXPECT_EQ("CTextTransportManager::SetRtcpEnable(): RTCP enabling failed (2)", m_Log.Lines().back());
    EXPECT_LT(0, m_Receiver.SetReadFDSet());
    EXPECT_EQ(1, m_pTransport->SetRtcpEnable(false)); // it never was on
    EXPECT_LT(0, m_Receiver.SetReadFDSet());
    EXPECT_EQ(1, m_pTransport->StopTransport());
    EXPECT_EQ(0, m_Receiver.SetReadFDSet()); // but no longer than it is open
    ASSERT_EQ(1, m_pTransport->StartTransport());
    EXPECT_EQ(1, m_pTransport->SetRtcpEnable(true));
    m_pTransport->SetRtcpTimeout(5);
    manual_time::FailNextStarts(1);
    m_pTransport->OnRTCPTimerExpiration();
    EXPECT_EQ("CTextTransportManager::StartRTCPTimeoutTimer(): Start RTCP Timeout Timer failed (2)",
              m_Log.Lines().back());
}

// The timer takes the time-out's seconds, less what has elapsed in milliseconds, as milliseconds.
TEST_F(CTextTransportManagerRtcp, TheTimeOutIsCheckedOnAMixOfUnits) {
    const struct {
        int16_t timeout;    // s
        uint32_t enabledAt; // ms after the start, with which silence begins
        uint32_t raisedAt;  // ms after the start; 0 for never
    } cases[] = {
        {5, 0, 0},            // at 5 ms: 5 elapsed, so 0 ms to the next
        {5, 4995, 0},         // at 5000: not more than 5 s
        {5, 4996, 5001},      // more
        {5, 6000, 6005},      // 5 ms after it was switched on
        {60, 39940, 65596},   // at 40000, which 16 bits take for -25536: 25596 to the next
        {100, 65438, 0},      // at 65538, which 16 bits take for 2: 98 to the next, where it is 100: 0
        {100, 99950, 100050}, // more than 100 s, by 50 ms
        {0, 7000, 0},
        {-1, 7000, 0},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.enabledAt);
        Renew();
        m_pTransport->SetRtcpTimeout(c.timeout);
        ASSERT_EQ(1, m_pTransport->StartTransport());
        manual_time::Advance(c.enabledAt);
        ASSERT_EQ(1, m_pTransport->SetRtcpEnable(true));
        if (c.raisedAt != 0) {
            manual_time::Advance(c.raisedAt - 1 - c.enabledAt);
            EXPECT_EQ(0, Timeouts());
            manual_time::Advance(1);
            EXPECT_EQ(1, Timeouts());
        }
        manual_time::Advance(ANY_TIME);
        EXPECT_EQ(c.raisedAt == 0 ? 0 : 1, Timeouts()); // once
    }
}

TEST_F(CTextTransportManagerRtcp, OnlyReportsOfTheFarEndPostponeTheTimeOut) {
    const struct {
        uint8_t version, type;
        bool postpones;
    } cases[] = {{2, 200, true}, {2, 201, true}, {2, 203, false}, {2, 202, false}, {1, 201, false}};
    for (const auto& c : cases) {
        Renew();
        m_pTransport->SetRtcpTimeout(100);
        ASSERT_EQ(1, m_pTransport->StartTransport());
        manual_time::Advance(100950);
        ASSERT_EQ(1, m_pTransport->SetRtcpEnable(true));
        manual_time::Advance(60);
        DeliverRtcp(Datagram().U8(c.version << 6U).U8(c.type).U16(1).U32(7));
        manual_time::Advance(40); // the check
        EXPECT_EQ(c.postpones ? 0 : 1, Timeouts()) << int(c.type);
        EXPECT_EQ(c.postpones ? 2U : 1U, manual_time::ArmedTimers());
        manual_time::Advance(60); // the next check, 100 - 40 later, finds 100 elapsed and ends
        EXPECT_EQ(1U, manual_time::ArmedTimers());
    }
}

TEST_F(CTextTransportManagerRtcp, WhatTheFarEndReportedIsEchoedUntilTheNextStart) {
    m_pTransport->SetDirection(VRN_CHANNEL_RECVONLY);
    ASSERT_EQ(1, m_pTransport->StartTransport());
    DeliverRtcp(Datagram().U8(0x80).U8(200).U16(6).U32(0x51525354).U32(0xAAAA1234).U32(0x5678BBBB));
    manual_time::Advance(500);
    const Bytes expected = Datagram()
                               .U8(0x81)        // one report block
                               .U8(201)         // RR
                               .U16(7)          // 8 words
                               .U32(FIRST_SSRC) // own SSRC
                               .U32(0x51525354) // the SSRC of the far end's RTCP
                               .U32(0x00000001) // nothing came: of 1 expected 1 is lost, 256 / 256, cut to 8 bits
                               .U32(0)          // highest sequence number
                               .U32(0)          // jitter
                               .U32(0x12345678) // middle of the NTP time
                               .U32(32768);     // 0.5 s
    EXPECT_EQ(expected, Report());
    m_pTransport->StopTransport();
    ASSERT_EQ(1, m_pTransport->StartTransport());
    const Bytes report = Report();
    EXPECT_EQ(Bytes(4), Bytes(report.begin() + 28, report.end())); // no age: no sender report since the start
}

} // namespace
