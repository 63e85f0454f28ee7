#include "tests/support/TransportFixture.h"

namespace {

using CTextTransportManagerRtcp = TransportFixture;

constexpr uint32_t ANY_TIME = 100000; // ms, past everything a test waits for

TEST_F(CTextTransportManagerRtcp, ReportsGoOutEveryTwoSecondsWhileSwitchedOn) {
    Start();
    EXPECT_EQ(1, m_pTransport->SetRtcpEnable(true));
    manual_time::Advance(1000);
    EXPECT_EQ(1, m_pTransport->SetRtcpEnable(true)); // changes nothing
    // A direction that sends has sender reports.
    const uint8_t types[] = {201, 200, 201, 200, 201};
    for (int direction = 0; direction < 5; ++direction) {
        m_pTransport->SetDirection(static_cast<VRN_CHANNEL_STATUS>(direction));
        manual_time::Advance(direction == 0 ? 999 : 1999);
        EXPECT_TRUE(m_FarRtcp.Receive(0).empty());
        manual_time::Advance(1);
        const Bytes report = m_FarRtcp.Receive();
        ASSERT_LT(1U, report.size());
        EXPECT_EQ(types[direction], report[1]);
    }
    EXPECT_EQ(1, m_pTransport->SetRtcpEnable(false));
    EXPECT_EQ(0U, manual_time::ArmedTimers());
    // A time-out, and then a report, that switching off overtakes.
    for (const bool goesOn : {false, true}) {
        m_pTransport->SetRtcpTimeout(goesOn ? 0 : 1);
        m_pTransport->SetRtcpEnable(true);
        manual_time::BeforeNextExpiry([&] {
            m_pTransport->SetRtcpEnable(false);
            m_pTransport->SetRtcpEnable(goesOn);
        });
        manual_time::Advance(3999); // from the second switch on not two seconds have passed
        EXPECT_TRUE(m_FarRtcp.Receive(0).empty());
    }
    manual_time::Advance(1);
    EXPECT_FALSE(m_FarRtcp.Receive().empty());
    EXPECT_TRUE(s_Timeouts.empty());
}

TEST_F(CTextTransportManagerRtcp, ReportsEndWithTheFirstThatCannotBeSentOrArmed) {
    Configure(0, "::1"); // no way there from an IPv4 socket
    Start();
    EXPECT_EQ(1, m_pTransport->SetRtcpEnable(true));
    manual_time::Advance(ANY_TIME);
    EXPECT_EQ(0U, manual_time::ArmedTimers());
    EXPECT_EQ(1U, m_Log.Count("CTextTransportManager::GenerateAndSendRTCPReport(): RTCP Sendto failed"));
    Start();
    EXPECT_EQ(1, m_pTransport->StopReceive());
    manual_time::FailNextStarts(1);
    EXPECT_EQ(-1, m_pTransport->SetRtcpEnable(true));
    EXPECT_LT(0, m_Receiver.SetReadFDSet()); // kept: watched all the same
    EXPECT_EQ(1, m_pTransport->SetRtcpEnable(false));
    EXPECT_LT(0, m_Receiver.SetReadFDSet());
}

// The timer takes the time-out's seconds, less what has elapsed in milliseconds, as milliseconds.
TEST_F(CTextTransportManagerRtcp, TheTimeOutIsCheckedOnAMixOfUnits) {
    const struct {
        int16_t timeout;    // s
        uint32_t enabledAt; // ms after the start, with which silence begins
        std::vector<uint32_t> raised;
        uint32_t start = 0; // of an RTCP packet that comes 1 ms before the check
    } cases[] = {
        {5, 0, {}},                        // at 5 ms: 5 elapsed, so 0 ms to the next
        {5, 4995, {}},                     // at 5000: not more than 5 s
        {5, 4996, {START_TICK + 5001}},    // more
        {60, 39940, {START_TICK + 65596}}, // at 40000, which 16 bits take for -25536: 25596 to the next
        {100, 65438, {}},                  // at 65538, which 16 bits take for 2: 98 to the next, where it is 100: 0
        {0, 7000, {}},
        {-1, 7000, {}},
        {5, 6000, {}, 0x80C80006},                  // a sender report
        {5, 6000, {}, 0x80C90001},                  // a receiver report
        {5, 6000, {START_TICK + 6005}, 0x80CB0001}, // BYE
        {5, 6000, {START_TICK + 6005}, 0x40C90001}, // version 1
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.enabledAt);
        Renew();
        m_pTransport->SetRtcpTimeout(c.timeout);
        Start();
        manual_time::Advance(c.enabledAt);
        ASSERT_EQ(1, m_pTransport->SetRtcpEnable(true));
        if (c.start != 0) {
            manual_time::Advance(4);
            Deliver(Datagram().U32(c.start).U32(7), m_nPort + 1);
        }
        manual_time::Advance(ANY_TIME);
        EXPECT_EQ(c.raised, s_Timeouts);
    }
}

TEST_F(CTextTransportManagerRtcp, WhatTheFarEndReportedIsEchoedUntilTheNextStart) {
    m_pTransport->SetDirection(VRN_CHANNEL_RECVONLY);
    Start();
    Deliver(Datagram().U32(0x80C80006).U32(0x51525354).U32(0xAAAA1234).U32(0x5678BBBB), m_nPort + 1);
    manual_time::Advance(500);
    const Datagram expected = Datagram().U32(0x12345678).U32(32768); // middle of the NTP time; 0.5 s
    EXPECT_EQ(Bytes(expected), Report(24, 32));
    Start();
    EXPECT_EQ(Bytes(4), Report(28, 32)); // no age: no sender report since the start
}

} // namespace
