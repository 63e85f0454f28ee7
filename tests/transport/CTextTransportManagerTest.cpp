// What a simulated call seldom or never comes to: limits, and moments that two threads meet in.

#include "sim/SimulatedHost.h"
#include "tests/support/LogCapture.h"
#include "tests/support/ManualTime.h"
#include "util/VRNLog.h"

#include <gtest/gtest.h>

namespace {

constexpr uint64_t ANY_TIME = 100000; // ms, past everything a test waits for

class CTextTransportManagerTest : public ::testing::Test {
protected:
    CTextTransportManagerTest() { VRNlogLevel = 0; }

    // A started channel.
    void Open(SimulatedHost& host, int direction) {
        const int channel = host.manager.CreateChannel();
        host.Configure(channel, 0);
        ASSERT_EQ(1, host.manager.StartFDSR(channel, direction));
    }

    // The next report of channel 0, from byte 13 to 20: lost in all, highest number.
    static Bytes Loss(SimulatedHost& host) {
        memory_network::TakeSent();
        while (true) {
            host.RunUntil(manual_time::Now() + 100);
            for (const auto& sent : memory_network::TakeSent()) {
                if (sent.fromPort == SimulatedHost::LocalPort(0) + 1) {
                    return {sent.data.begin() + 13, sent.data.begin() + 20};
                }
            }
        }
    }
    static Bytes Loss(uint32_t lost, uint32_t highest) { return Datagram().U8(lost >> 16).U16(lost).U32(highest); }
};

TEST_F(CTextTransportManagerTest, OneMebibyteWaitsOnAChannelAndAStartFreesIt) {
    SimulatedHost host;
    Open(host, VRN_CHANNEL_RECVONLY);
    Open(host, VRN_CHANNEL_RECVONLY); // the one that is shown: the other's text waits
    host.manager.SetRtcpCallOptions(0, true);
    const std::string longest(1400, 't');
    const auto deliver = [](uint32_t seq, const std::string& text) {
        memory_network::Put(SimulatedHost::LocalPort(0),
                            Datagram().RtpHeader(false, SIM_RECV_T140, seq, 0, 1).Text(text));
    };
    for (uint32_t seq = 1; seq <= 800; ++seq) {
        deliver(seq, longest);
    }
    host.RunUntil(ANY_TIME);
    const Bytes full = Loss(host);
    const uint32_t accepted = full[5] * 256U + full[6];
    EXPECT_EQ(Loss(0, accepted), full); // as if lost on the way, and the way has not ended yet
    EXPECT_GE(1024U * 1024 / 1400, accepted);
    EXPECT_LE(1024U * 1024 / 1500, accepted);
    host.manager.StartFDSR(0, VRN_CHANNEL_RECVONLY);
    host.manager.SetRtcpCallOptions(0, true);
    deliver(801, "b");
    EXPECT_EQ(Loss(800 - accepted, 801), Loss(host));
    host.RunUntil(manual_time::Now() + 1000);
    ASSERT_EQ(1U, host.TakeEvents().size());
}

TEST_F(CTextTransportManagerTest, ATimeOutAndAReportThatSwitchingOffOvertakesDoNothing) {
    SimulatedHost host;
    Open(host, VRN_CHANNEL_SENDRECV);
    host.RunUntil(ANY_TIME); // long enough for a time-out
    for (const bool goesOn : {false, true}) {
        host.manager.SetRtcpTimeout(0, goesOn ? 0 : 1);
        host.manager.SetRtcpCallOptions(0, true);
        manual_time::BeforeNextExpiry([&] {
            host.manager.SetRtcpCallOptions(0, false);
            host.manager.SetRtcpCallOptions(0, goesOn);
        });
        host.RunUntil(manual_time::Now() + 3999); // from the second switch on not two seconds have passed
        EXPECT_TRUE(memory_network::TakeSent().empty());
    }
    host.RunUntil(manual_time::Now() + 1);
    EXPECT_EQ(1U, memory_network::TakeSent().size());
    EXPECT_TRUE(host.TakeEvents().empty());
}

// The timer takes the time-out's seconds, less what has elapsed in milliseconds, as milliseconds.
TEST_F(CTextTransportManagerTest, TheTimeOutIsCheckedOnAMixOfUnits) {
    const struct {
        int16_t timeout;    // s
        uint32_t enabledAt; // ms after the start, with which silence begins
        std::vector<uint64_t> raised;
    } cases[] = {
        {5, 0, {}},           // at 5 ms: 5 elapsed, so 0 ms to the next
        {5, 4995, {}},        // at 5000: not more than 5 s
        {5, 4996, {5001}},    // more
        {60, 39940, {65596}}, // at 40000, which 16 bits take for -25536: 25596 to the next
        {100, 65438, {}},     // at 65538, which 16 bits take for 2: 98 to the next, where it is 100: 0
        {0, 7000, {}},        {-1, 7000, {}},
    };
    for (const auto& c : cases) {
        SimulatedHost host;
        std::vector<uint64_t> raised;
        host.onEvent = [&raised](int channel, int event) {
            EXPECT_TRUE(channel == 0 && event == VRN_EVENT_RTCP_TIMEOUT);
            raised.push_back(manual_time::Now());
        };
        Open(host, VRN_CHANNEL_SENDRECV);
        host.manager.SetRtcpTimeout(0, c.timeout);
        host.RunUntil(c.enabledAt);
        ASSERT_EQ(1, host.manager.SetRtcpCallOptions(0, true));
        host.RunUntil(c.enabledAt + ANY_TIME);
        EXPECT_EQ(c.raised, raised) << c.enabledAt;
    }
}

} // namespace

// The active channel stays the one that last began to receive, stopped or created anew; hosts match on the line.
TEST_F(CTextTransportManagerTest, EachStepOfPlayoutTellsThatTheActiveChannelIsStopped) {
    SimulatedHost host;
    LogCapture log;
    Open(host, VRN_CHANNEL_RECVONLY);
    host.RunUntil(1000); // steps that find nothing
    const auto linesOfASecond = [&] {
        const size_t before = log.Count("GetTextForDisp():  T140 instance not created");
        VRNlogLevel = VRN_LOG_FAILURE;
        host.RunUntil(manual_time::Now() + 1000);
        VRNlogLevel = 0;
        return log.Count("GetTextForDisp():  T140 instance not created") - before;
    };
    EXPECT_EQ(0U, linesOfASecond());
    host.manager.StopFDSR(0);
    EXPECT_EQ(20U, linesOfASecond());
    host.manager.StartFDSR(0, VRN_CHANNEL_RECVONLY);
    EXPECT_EQ(0U, linesOfASecond());
    host.manager.DeleteChannel(0);
    EXPECT_EQ(0U, linesOfASecond());
    host.manager.CreateChannel();
    EXPECT_EQ(20U, linesOfASecond());
}
