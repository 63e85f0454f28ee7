// Channels whose ports are wanted again at once, and channels short of descriptors.

#include "tests/support/HostFixture.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

namespace {

class HostLifecycle : public HostTest {};

// A port is free at once for the socket that follows, though the receiver waits on it and a stranger sends to it.
TEST_F(HostLifecycle, ReconfigTakesTheSamePortsAgain) {
    FarEnd far;
    const int channel = Open(far);
    const Repeating fire(HostileFire({&far}));
    for (int round = 0; round < 40; ++round) {
        EXPECT_EQ(1, engine.VRN_SetCallOptions(channel, true));
        usleep(1000); // the receiver waits again
        EXPECT_EQ(1, engine.VRN_ReconfigIPPort(channel)) << round;
    }
}

// select() watches no descriptor of 1024 or more: receiving is refused there, and works again below.
TEST_F(HostLifecycle, DescriptorsOutOfRangeAreRefused) {
    const rlimit limit = {4096, 4096};
    ASSERT_EQ(0, setrlimit(RLIMIT_NOFILE, &limit));
    FarEnd far;
    std::vector<int> filler(1500);
    std::generate(filler.begin(), filler.end(), [] { return open("/dev/null", O_RDONLY | O_CLOEXEC); });
    LogCapture log;
    const int channel = Open(far, VRN_CHANNEL_RECVONLY);
    EXPECT_EQ(1U, log.Count("CTextSessionManager::StartFDSR(): StartReceive fail"));
    EXPECT_EQ(-1, engine.VRN_SetCallOptions(channel, true));
    EXPECT_EQ(1, engine.VRN_StartFDSR(channel, VRN_CHANNEL_SENDONLY, 0));
    EXPECT_EQ(1, Type(channel, "out"));
    EXPECT_FALSE(far.rtp.Receive().empty()) << "sending needs no select";
    std::for_each(filler.begin(), filler.end(), close);
    EXPECT_EQ(1, engine.VRN_StartFDSR(channel, VRN_CHANNEL_SENDRECV, 0));
    far.SendPlain(1, "in");
    EXPECT_TRUE(WaitUntil([&] { return Shown(channel) == "in"; }));
}

} // namespace
