// Calls made from inside the event handler, and handlers that are slow to return. What fails here usually hangs.

#include "tests/support/HostFixture.h"

#include <unistd.h>

namespace {

class HostEvents : public HostTest {};
class HostInsideEvent : public HostTest, public testing::WithParamInterface<int> {
protected:
    int CountedDelete(int channel, size_t* lines);
    void MakeCalls(int channel, const FarEnd& far);
    void DeleteChannels(int own, int other);

    FarEnd m_OwnFar;
    FarEnd m_OtherFar;
    std::atomic<bool> m_bEntered{false};
    std::atomic<bool> m_bDone{false};
};

void HostInsideEvent::MakeCalls(int channel, const FarEnd& far) {
    Configure(channel, far, 1);
    const std::function<int()> calls[] = {
        [&] { return Type(channel, "1"); },
        [&] { return engine.VRN_SetVEStatus(channel, VRN_CHANNEL_RECVONLY); },
        [&] { return engine.VRN_SetVEStatus(channel, VRN_CHANNEL_SENDRECV); },
        [&] { return engine.VRN_SetCallOptions(channel, false); },
        [&] { return engine.VRN_SetCallOptions(channel, true); },
        [&] { return engine.VRN_StopFDSR(channel); },
        [&] { return engine.VRN_SetNetId(channel, 0); },
        [&] { return engine.VRN_SetRtcpOnCall(channel, 1, 1); },
        [&] { return engine.VRN_SetRtcpTimeout(channel, 2); },
        [&] { return engine.VRN_StartFDSR(channel, VRN_CHANNEL_SENDRECV, 0); },
        [&] { return engine.VRN_SetCallOptions(channel, true); },
        [&] { return engine.VRN_ReconfigIPPort(channel); },
        [&] { return Type(channel, "2"); },
    };
    for (const auto& call : calls) {
        EXPECT_EQ(1, call()) << "call " << &call - calls << " on channel " << channel;
    }
}

// The result, and the failure lines on this thread.
int HostInsideEvent::CountedDelete(int channel, size_t* lines) {
    LogCapture log;
    SetLogLevel(1);
    const int result = engine.VRN_DeleteChannel(channel);
    SetLogLevel(4);
    *lines = log.OwnLines().size();
    return result;
}

void HostInsideEvent::DeleteChannels(int own, int other) {
    size_t lines = 0;
    const int third = engine.VRN_CreateChannel();
    EXPECT_GE(third, 0);
    EXPECT_EQ(1, engine.VRN_DeleteChannel(other));
    if (GetParam() == VRN_EVENT_RTCP_TIMEOUT) {
        EXPECT_EQ(-1, CountedDelete(own, &lines)) << "its own channel, whose event waits for this very call";
        EXPECT_EQ(1U, lines);
    }
    EXPECT_EQ(1, engine.VRN_DeleteChannel(third));
    EXPECT_EQ(-1, CountedDelete(own, &lines)) << "the last channel";
    EXPECT_EQ(1U, lines);
}

TEST_P(HostInsideEvent, EveryCallWorksForItsOwnAndForAnotherChannel) {
    const int other = Open(m_OtherFar, VRN_CHANNEL_SENDRECV);
    const int own = Open(m_OwnFar, VRN_CHANNEL_SENDRECV);
    OnEvent([this, own, other](int channel, int event) {
        if (event != GetParam() || m_bEntered.exchange(true)) {
            return;
        }
        EXPECT_EQ(own, channel);
        MakeCalls(other, m_OtherFar);
        MakeCalls(own, m_OwnFar);
        DeleteChannels(own, other);
        m_bDone = true;
    });
    if (GetParam() == VRN_EVENT_TEXT_RECEIVED) {
        m_OwnFar.SendPlain(1, "t");
    } else {
        RaiseTimeout(own);
    }
    ASSERT_TRUE(WaitUntil([this] { return m_bDone.load(); }));
    // The channel that was stopped, started and refused deletion goes on: its last text is sent, and it receives.
    Bytes packet = m_OwnFar.rtp.Receive();
    while (!packet.empty() && packet.back() != '2') {
        packet = m_OwnFar.rtp.Receive();
    }
    EXPECT_EQ(1U, Read32(packet, 0) & 0xFFFF);
    m_OwnFar.SendPlain(2, "after");
    EXPECT_TRUE(WaitUntil([&] { return Shown(own).find("after") != std::string::npos; }));
}

INSTANTIATE_TEST_SUITE_P(Events, HostInsideEvent, testing::Values(1, 2));

TEST_F(HostEvents, TextMayDeleteItsOwnChannelWhileAnotherLives) {
    FarEnd far;
    static std::atomic<int> result{0};
    const int other = engine.VRN_CreateChannel();
    const int own = Open(far, VRN_CHANNEL_SENDRECV);
    OnEvent([this](int channel, int) { result = engine.VRN_DeleteChannel(channel); });
    far.SendPlain(1, "t");
    ASSERT_TRUE(WaitUntil([] { return result != 0; }));
    EXPECT_EQ(1, result);
    EXPECT_EQ(own, engine.VRN_CreateChannel()) << "the id is free";
    EXPECT_EQ(1, engine.VRN_DeleteChannel(other));
}

// Two time-outs and a text at the same time, each of which stops the channel of another, or even deletes it while its
// time-out waits for its turn.
TEST_F(HostEvents, EventsThatEndEachOthersChannelsDoNotHang) {
    static std::atomic<int> ended;
    FarEnd far[2];
    for (const bool deletes : {false, true, false, true}) {
        ended = 0;
        const int a = Open(far[0], VRN_CHANNEL_SENDRECV);
        const int b = Open(far[1], VRN_CHANNEL_SENDRECV);
        OnEvent([this, a, b, deletes](int channel, int event) {
            const int other = channel == a ? b : a;
            usleep(20000);
            engine.VRN_StopFDSR(other); // gone already, it may be
            if (deletes && event == VRN_EVENT_RTCP_TIMEOUT && ended == 0) {
                EXPECT_EQ(1, engine.VRN_DeleteChannel(other));
            }
            ended += event == VRN_EVENT_RTCP_TIMEOUT ? 1 : 0;
        });
        usleep(SILENCE_US);
        for (const int channel : {a, b}) {
            EXPECT_EQ(1, engine.VRN_SetRtcpTimeout(channel, 1));
            EXPECT_EQ(1, engine.VRN_SetCallOptions(channel, true));
        }
        if (!deletes) {
            far[1].SendPlain(1, "ttt");
        }
        EXPECT_TRUE(WaitUntil([] { return ended >= 1; }));
        for (const int channel : {a, b}) {
            EXPECT_EQ(1, engine.VRN_DeleteChannel(channel));
        }
    }
}

// When the deletion returns, no handler of the channel runs any more, nor a call that another thread has made for it.
TEST_F(HostEvents, DeletionWaitsForTheHandler) {
    static std::atomic<bool> entered;
    static std::atomic<bool> left;
    const struct {
        int event;
        bool last; // only a deletion of the last channel waits for event 1
    } rows[] = {{VRN_EVENT_TEXT_RECEIVED, true}, {VRN_EVENT_RTCP_TIMEOUT, true}, {VRN_EVENT_RTCP_TIMEOUT, false}};
    for (const auto& row : rows) {
        FarEnd far;
        entered = left = false;
        const int other = row.last ? -1 : engine.VRN_CreateChannel();
        const int channel = Open(far, VRN_CHANNEL_SENDRECV);
        OnEvent([](int, int) {
            entered = true;
            usleep(200000);
            left = true;
        });
        if (row.event == VRN_EVENT_TEXT_RECEIVED) {
            far.SendPlain(1, "t");
        } else {
            RaiseTimeout(channel);
        }
        ASSERT_TRUE(WaitUntil([] { return entered.load(); }));
        std::thread caller([&] { engine.VRN_SetCallOptions(channel, true); });
        usleep(20000); // the call waits for the handler too, in event 2
        EXPECT_EQ(1, engine.VRN_DeleteChannel(channel));
        EXPECT_TRUE(left) << "event " << row.event;
        caller.join();
        engine.VRN_DeleteChannel(other);
    }
}

} // namespace
