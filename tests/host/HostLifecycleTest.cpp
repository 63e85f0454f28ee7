// Channels that come and go, under fire and short of descriptors: nothing is left behind, and text goes on.

#include "tests/support/HostFixture.h"

#include <array>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <memory>
#include <random>
#include <sys/resource.h>
#include <unistd.h>

namespace {

class HostLifecycle : public HostTest {};

// What the process holds of the system: descriptors, threads and timers.
using Resources = std::array<long, 3>;

Resources CountResources() {
    const auto entries = [](const char* directory) {
        return std::distance(std::filesystem::directory_iterator(directory), std::filesystem::directory_iterator());
    };
    Resources held = {entries("/proc/self/fd"), entries("/proc/self/task"), 0};
    std::ifstream timers("/proc/self/timers");
    for (std::string line; std::getline(timers, line);) {
        held[2] += line.rfind("ID:", 0) == 0 ? 1 : 0;
    }
    return held;
}

// Ends are aimed at the send tick, 300 ms after the text, and at the time-out check a millisecond after RTCP is on.
// Another thread of the host types all the while. What the C library makes once and keeps, the first round makes.
TEST_F(HostLifecycle, RoundsThatRaceTicksUnderFireLeaveNothingBehind) {
    std::mt19937 random(1);
    FarEnd far[3];
    Resources before = {};
    for (int round = 0; round < 15; ++round) {
        auto fire = std::make_unique<Repeating>(HostileFire({&far[0], &far[1], &far[2]}));
        auto typing = std::make_unique<Repeating>([this, channel = 0]() mutable {
            Type(channel = (channel + 1) % 3, "more"); // whether it is there or not
            usleep(200);
        });
        for (const FarEnd& end : far) {
            CheckSilence(Open(end, VRN_CHANNEL_SENDRECV, random() % 4));
        }
        usleep(297000 + random() % 3000);
        for (int channel = 0; channel < 3; ++channel) {
            const unsigned end = random() % 4;
            usleep(random() % 1500);
            EXPECT_EQ(1, (end & 1) != 0 ? engine.VRN_SetVEStatus(channel, VRN_CHANNEL_SENDONLY) : 1);
            EXPECT_EQ(1, (end & 2) != 0 ? engine.VRN_StartFDSR(channel, VRN_CHANNEL_SENDRECV, 0) : 1);
            EXPECT_EQ(1, engine.VRN_DeleteChannel(channel));
        }
        fire.reset();
        typing.reset();
        usleep(round == 0 ? 100000 : 0); // for threads of timers to go
        before = round == 0 ? CountResources() : before;
    }
    for (size_t kind = 0; kind < before.size(); ++kind) {
        EXPECT_TRUE(WaitUntil([&] { return CountResources()[kind] <= before[kind]; })) << kind;
    }
}

// A call that another thread makes for the channel is over when the deletion is: nothing of its transport logs after.
TEST_F(HostLifecycle, DeletionWaitsForTheCallsOfOtherThreads) {
    FarEnd far;
    const int channel = engine.VRN_CreateChannel() + 1; // the engine's threads stay
    const Repeating stopping([&] { engine.VRN_StopFDSR(channel); });
    LogCapture log;
    for (int round = 0; round < 200; ++round) {
        EXPECT_EQ(channel, Open(far));
        log.Clear();
        while (!log.Has("CTextControlManager::StopFDSR(): Session")) {
            std::this_thread::yield();
        }
        EXPECT_EQ(1, engine.VRN_DeleteChannel(channel));
        bool isDeleted = false;
        for (const std::string& line : log.Lines()) {
            isDeleted = isDeleted || line.find("DeleteChannel(): Deleted Session") != std::string::npos;
            ASSERT_FALSE(isDeleted && line.rfind("CTextTransportManager", 0) == 0) << line;
        }
    }
}

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

// Between the packets of a stream come strangers, never more than three in a row, and packets of the stream's own
// source that take a number before its packet comes, and are no RED. What is lost to them redundancy restores. All of
// it waits in the socket at once: the receiver takes some 30 datagrams a second.
TEST_F(HostLifecycle, HostileDatagramsDoNotChangeTheText) {
    const std::string typed = "  We still read each other.";
    const Bytes noise[] = {{}, {0x80}, Bytes(1472, 0xFF), Datagram().U32(0x80000000 | RECV_RED << 16).Text("short")};
    const std::string malformed[] = {"", "\xE4", "\xE4\x01\x02\xFFshort", std::string(700, '\xFF')};
    FarEnd far;
    const int channel = Open(far);
    for (uint32_t at = 2; at < typed.size(); ++at) {
        far.rtp.SendTo(far.enginePort, noise[at % std::size(noise)]);
        if (at % 3 == 0) {
            const std::string& payload = malformed[at / 3 % std::size(malformed)];
            far.rtp.SendTo(far.enginePort, Datagram().RtpHeader(false, RECV_RED, at, 0, FAR_SSRC).Text(payload));
        }
        far.SendRed(at, typed.substr(at - 2, 1), typed.substr(at - 1, 1), typed.substr(at, 1));
        for (uint32_t i = 0; i < at % 4; ++i) {
            far.SendPlain(at + 1000 + i, "EVIL", 666);
        }
    }
    EXPECT_TRUE(WaitUntil([&] { return Shown(channel).size() >= typed.size() - 2; }));
    usleep(150000); // for what should not come
    EXPECT_EQ(typed.substr(2), Shown(channel));
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
