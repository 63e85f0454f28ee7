// Which channel's text the host is shown, and by which handler.

#include "tests/support/HostFixture.h"

namespace {

class HostText : public HostTest {};

// Event 1 goes to the handler of the moment, event 2 to that of the channel's creation; none is a handler too.
TEST_F(HostText, OnlyTheActiveChannelIsShownAndEachEventToItsHandler) {
    static std::atomic<int> lastOfSecond;
    FarEnd first;
    FarEnd second;
    const int waiting = Open(first, VRN_CHANNEL_RECVONLY);
    engine.VRN_SetEventHandler(nullptr);
    const int active = Open(second, VRN_CHANNEL_RECVONLY);
    LogCapture log;
    first.SendPlain(1, "waits");
    second.SendPlain(1, "u");
    ASSERT_TRUE(WaitUntil([&] { return log.Has("GetTextAndDisplay(): Sending for Disp Len 1, Sess 1"); }));
    engine.VRN_SetEventHandler([](int channel, int event, void*) { lastOfSecond = 10 * channel + event; });
    second.SendPlain(2, "v");
    ASSERT_TRUE(WaitUntil([&] { return lastOfSecond == 10 * active + VRN_EVENT_TEXT_RECEIVED; }));
    // Receiving starts again on the first: what came meanwhile is there.
    EXPECT_EQ(1, engine.VRN_StopFDSR(active));
    EXPECT_EQ(1, engine.VRN_SetVEStatus(waiting, VRN_CHANNEL_SENDRECV));
    EXPECT_EQ(1, engine.VRN_SetVEStatus(waiting, VRN_CHANNEL_RECVONLY));
    EXPECT_TRUE(WaitUntil([&] { return lastOfSecond == 10 * waiting + VRN_EVENT_TEXT_RECEIVED; }));
    usleep(SILENCE_US);
    CheckSilence(waiting);
    ASSERT_TRUE(WaitUntil([&] { return !Events(VRN_EVENT_RTCP_TIMEOUT).empty(); }));
    EXPECT_TRUE(Events(VRN_EVENT_TEXT_RECEIVED).empty());
}

} // namespace
