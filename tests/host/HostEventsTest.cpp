// Calls made from inside the event handler, and handlers that are slow to return. What fails here usually hangs.

#include "tests/support/HostFixture.h"

#include <unistd.h>

namespace {

class HostEvents : public HostTest {
protected:
    // Has the event raised: a text, or a time-out after a silence.
    void Raise(int event, int channel, FarEnd& far);

    std::atomic<bool> m_bEntered{false};
    std::atomic<int> m_nLeft{0};
};

class HostInsideEvent : public HostEvents, public testing::WithParamInterface<int> {};

void HostEvents::Raise(int event, int channel, FarEnd& far) {
    if (event == VRN_EVENT_TEXT_RECEIVED) {
        far.SendPlain(1, "t");
    } else {
        usleep(SILENCE_US);
        CheckSilence(channel);
    }
}

TEST_P(HostInsideEvent, EveryCallWorksForItsOwnAndForAnotherChannel) {
    static FarEnd far[2];
    static const std::function<int(CorvaneTextEngineClient&, int)> calls[] = {
        [](auto& engine, int channel) { return engine.VRN_SendText(channel, std::string("1").data(), 1); },
        [](auto& engine, int channel) { return engine.VRN_SetVEStatus(channel, VRN_CHANNEL_RECVONLY); },
        [](auto& engine, int channel) { return engine.VRN_SetCallOptions(channel, false); },
        [](auto& engine, int channel) { return engine.VRN_SetCallOptions(channel, true); },
        [](auto& engine, int channel) { return engine.VRN_StopFDSR(channel); },
        [](auto& engine, int channel) { return engine.VRN_StartFDSR(channel, VRN_CHANNEL_SENDRECV, 0); },
        [](auto& engine, int channel) { return engine.VRN_SetCallOptions(channel, true); },
        [](auto& engine, int channel) { return engine.VRN_ReconfigIPPort(channel); },
        [](auto& engine, int channel) { return engine.VRN_SendText(channel, std::string("2").data(), 1); },
    };
    const int other = Open(far[0]);
    const int own = Open(far[1]);
    OnEvent([this, own, other](int, int event) {
        if (event != GetParam() || m_bEntered.exchange(true)) {
            return;
        }
        for (const auto& call : calls) {
            EXPECT_EQ(1, call(engine, other)) << "call " << &call - calls;
            EXPECT_EQ(1, call(engine, own)) << "call " << &call - calls;
        }
        const bool isTimeout = event == VRN_EVENT_RTCP_TIMEOUT;
        EXPECT_TRUE(!isTimeout || engine.VRN_DeleteChannel(own) == -1) << "whose event waits for this very call";
        EXPECT_EQ(1, engine.VRN_DeleteChannel(other));
        EXPECT_EQ(-1, engine.VRN_DeleteChannel(own)) << "the last channel";
        ++m_nLeft;
    });
    Raise(GetParam(), own, far[1]);
    ASSERT_TRUE(WaitUntil([this] { return m_nLeft > 0; }));
    // The channel that was stopped, started and refused deletion goes on: its last text is sent, and it receives.
    EXPECT_TRUE(WaitUntil([&] { return far[1].rtp.Receive().back() == '2'; }));
    far[1].SendPlain(2, "after");
    EXPECT_TRUE(WaitUntil([&] { return Shown(own).find("after") != std::string::npos; }));
}

INSTANTIATE_TEST_SUITE_P(Events, HostInsideEvent, testing::Values(VRN_EVENT_TEXT_RECEIVED, VRN_EVENT_RTCP_TIMEOUT));

// When the deletion returns, no handler of the channel runs any more. Of the handlers for text that holds for the last
// channel alone: beside another one, the handler may delete the channel itself.
TEST_F(HostEvents, DeletionWaitsForTheHandler) {
    FarEnd far;
    for (const int event : {VRN_EVENT_TEXT_RECEIVED, VRN_EVENT_RTCP_TIMEOUT}) {
        m_bEntered = false;
        const int channel = Open(far);
        OnEvent([this](int, int) {
            m_bEntered = true;
            usleep(200000);
            ++m_nLeft;
        });
        Raise(event, channel, far);
        ASSERT_TRUE(WaitUntil([this] { return m_bEntered.load(); }));
        const int other = event == VRN_EVENT_RTCP_TIMEOUT ? engine.VRN_CreateChannel() : -1;
        EXPECT_EQ(1, engine.VRN_DeleteChannel(channel));
        EXPECT_EQ(event, m_nLeft) << "handlers that returned";
        EXPECT_EQ(other < 0 ? -1 : 1, engine.VRN_DeleteChannel(other));
    }
    EXPECT_EQ(0, engine.VRN_CreateChannel());
    OnEvent([this](int channel, int) { m_nLeft = 100 * engine.VRN_DeleteChannel(channel); });
    Open(far);
    far.SendPlain(1, "t");
    EXPECT_TRUE(WaitUntil([this] { return m_nLeft == 100; }));
}

} // namespace
