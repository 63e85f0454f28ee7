// Channels that come and go, under fire and short of descriptors: nothing is left behind, and text goes on.

#include "tests/support/HostFixture.h"

#include <algorithm>
#include <chrono>
#include <fcntl.h>
#include <memory>
#include <random>
#include <sys/resource.h>
#include <unistd.h>

namespace {

class HostLifecycle : public HostTest {
protected:
    // One call with everything, so that what the C library makes once and keeps is there before resources are counted.
    void WarmUp();
    // How long it took to delete the channel, in milliseconds.
    double TimedDelete(int channel);
};

class HostRounds : public HostLifecycle, public testing::WithParamInterface<unsigned> {};

void HostLifecycle::WarmUp() {
    FarEnd far;
    const int channel = Open(far, VRN_CHANNEL_SENDRECV, 0);
    EXPECT_EQ(1, engine.VRN_SetRtcpTimeout(channel, 1));
    EXPECT_EQ(1, engine.VRN_SetCallOptions(channel, true));
    EXPECT_EQ(1, Type(channel, "t"));
    for (int packets = 0; packets < 2; ++packets) {
        EXPECT_FALSE(far.rtp.Receive().empty());
    }
    EXPECT_EQ(1, engine.VRN_DeleteChannel(channel));
}

double HostLifecycle::TimedDelete(int channel) {
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(1, engine.VRN_DeleteChannel(channel));
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - begin).count();
}

// Deleted at once, stopped without a start, started twice, deleted while started with everything on: alone, so that the
// engine's threads go too, and beside another channel.
TEST_F(HostLifecycle, EveryEndLeavesNothingBehind) {
    using Engine = CorvaneTextEngineClient;
    const std::vector<std::function<void(Engine&, int)>> lives = {
        [](Engine&, int) {},
        [](Engine& e, int channel) { EXPECT_EQ(1, e.VRN_StopFDSR(channel)); },
        [](Engine& e, int channel) { EXPECT_EQ(1, e.VRN_StartFDSR(channel, VRN_CHANNEL_RECVONLY, 0)); },
        [this](Engine& e, int channel) {
            EXPECT_EQ(1, e.VRN_StartFDSR(channel, VRN_CHANNEL_SENDRECV, 0));
            EXPECT_EQ(1, e.VRN_SetCallOptions(channel, true));
            EXPECT_EQ(1, Type(channel, "first"));
            LogCapture log;
            EXPECT_EQ(1, e.VRN_StartFDSR(channel, VRN_CHANNEL_SENDRECV, 0));
            EXPECT_FALSE(log.Has("fail")) << "the ports are free for the second start";
            EXPECT_EQ(1, e.VRN_SetCallOptions(channel, true));
            EXPECT_TRUE(log.Has("SetRtcpEnable (1), isEnabled (0)")) << "the second start has no RTCP yet";
            EXPECT_EQ(1, Type(channel, "second"));
        },
    };
    WarmUp();
    FarEnd far;
    const Resources before = CountResources();
    std::vector<double> deletions;
    for (const bool alone : {true, false}) {
        for (const auto& live : lives) {
            const int other = alone ? -1 : engine.VRN_CreateChannel();
            const int channel = Create(far);
            live(engine, channel);
            deletions.push_back(TimedDelete(channel));
            EXPECT_TRUE(UdpPeer(far.enginePort, far.ip).IsOpen() && UdpPeer(far.enginePort + 1, far.ip).IsOpen());
            engine.VRN_DeleteChannel(other);
            ASSERT_TRUE(HoldsNoMoreThan(before));
        }
    }
    std::sort(deletions.begin(), deletions.end());
    EXPECT_LT(deletions[deletions.size() / 2], 1000.0) << "deletion waits out no time-out of the receiver";
}

// Ends are aimed at the send tick, 300 ms after the text, and at the time-out check a millisecond after RTCP is on.
// Another thread of the host types all the while.
TEST_P(HostRounds, RacingTicksUnderFireLeavesNothingBehind) {
    constexpr int ROUNDS = 22;
    std::mt19937 random(GetParam());
    WarmUp();
    FarEnd far[3];
    const Resources before = CountResources();
    std::vector<double> deletions;
    {
        std::vector<uint16_t> ports;
        for (const FarEnd& end : far) {
            ports.push_back(end.enginePort);
            ports.push_back(end.enginePort + 1);
        }
        Flood flood(ports);
        std::atomic<bool> typing{true};
        std::thread typist([&] {
            for (int channel = 0; typing; channel = (channel + 1) % 3) {
                Type(channel, "more"); // whether it is there or not
                usleep(200);
            }
        });
        for (int round = 0; round < ROUNDS; ++round) {
            int channels[3];
            for (int i = 0; i < 3; ++i) {
                const int channel = channels[i] = Open(far[i], VRN_CHANNEL_SENDRECV, random() % 4);
                EXPECT_EQ(1, engine.VRN_SetRtcpTimeout(channel, static_cast<short>(random() % 3)));
                EXPECT_EQ(1, engine.VRN_SetCallOptions(channel, true));
                EXPECT_EQ(1, Type(channel, "tick"));
            }
            usleep(297000 + random() % 3000);
            for (const int channel : channels) {
                const unsigned end = random() % 8;
                usleep(random() % 1500);
                if ((end & 1) != 0) {
                    EXPECT_EQ(1, engine.VRN_SetVEStatus(channel, VRN_CHANNEL_SENDONLY));
                    EXPECT_EQ(1, engine.VRN_SetCallOptions(channel, false));
                    EXPECT_EQ(1, engine.VRN_SetCallOptions(channel, true));
                    usleep(500 + random() % 1000);
                }
                EXPECT_EQ(1, (end & 2) != 0 ? engine.VRN_StopFDSR(channel) : 1);
                EXPECT_EQ(1, (end & 4) != 0 ? engine.VRN_SetCallOptions(channel, false) : 1);
                deletions.push_back(TimedDelete(channel));
            }
        }
        typing = false;
        typist.join();
    }
    EXPECT_TRUE(HoldsNoMoreThan(before));
    std::sort(deletions.begin(), deletions.end());
    EXPECT_LT(deletions[deletions.size() / 2], 1000.0);
}

INSTANTIATE_TEST_SUITE_P(Seeds, HostRounds, testing::Values(1U, 2U, 3U));

// A port is free at once for the socket that follows, though the receiver waits on it or a stranger sends to it.
TEST_F(HostLifecycle, ReconfigTakesTheSamePortsAgain) {
    FarEnd far;
    const int channel = Open(far, VRN_CHANNEL_SENDRECV);
    std::unique_ptr<Flood> flood;
    for (int round = 0; round < 40; ++round) {
        if (round == 20) {
            const std::vector<uint16_t> ports = {far.enginePort, static_cast<uint16_t>(far.enginePort + 1)};
            flood = std::make_unique<Flood>(ports);
        }
        EXPECT_EQ(1, engine.VRN_SetCallOptions(channel, true));
        usleep(1000); // the receiver waits again
        EXPECT_EQ(1, engine.VRN_ReconfigIPPort(channel)) << round;
    }
    EXPECT_EQ(1, Type(channel, "t"));
    EXPECT_EQ(1U, Read32(far.rtp.Receive(), 0) & 0xFFFF);
}

// Between the packets of a stream come strangers, never more than three in a row, and packets of the stream's own
// source that take a number before its packet comes, and are no RED. What is lost to them redundancy restores. All of
// it waits in the socket at once: the receiver takes some 30 datagrams a second.
TEST_F(HostLifecycle, HostileDatagramsDoNotChangeTheText) {
    constexpr uint32_t FIRST = 100;
    const std::string typed = "We still read each other.";
    const Bytes noise[] = {
        {},
        {0x80},
        Datagram().U32(0x80000000 | RECV_RED << 16).U32(0).Text("abc"),
        Datagram().RtpHeader(true, 127, 60000, 0, FAR_SSRC).Text("other payload type"),
        Datagram().U8(0x40).U8(RECV_RED).U16(59999).U32(0).U32(FAR_SSRC).Text("other version"),
        Bytes(1472, 0xFF),
        Datagram().U32(0x9FC8FFFF),
        Datagram().U32(0x80CB0001).U32(FAR_SSRC),
    };
    const std::string malformed[] = {"", "\xE4", "\xE4\x01\x02\xFFshort", std::string(700, '\xFF'),
                                     "\xE4\x04\xB0\x05\x64"};
    FarEnd far;
    const int channel = Open(far, VRN_CHANNEL_SENDRECV);
    EXPECT_EQ(1, engine.VRN_SetRtcpTimeout(channel, 30));
    EXPECT_EQ(1, engine.VRN_SetCallOptions(channel, true));
    UdpPeer stranger(0, far.ip);
    const auto earlier = [&typed](size_t at, size_t back) { return at >= back ? typed.substr(at - back, 1) : ""; };
    for (size_t at = 0; at < typed.size(); ++at) {
        const uint32_t seq = FIRST + static_cast<uint32_t>(at);
        stranger.SendTo(far.enginePort, noise[at % std::size(noise)]);
        stranger.SendTo(far.enginePort + 1, noise[at % std::size(noise)]);
        for (uint32_t i = 0; i < at % 4; ++i) {
            far.SendPlain(seq + 1000 + i, "EVIL", 666);
        }
        if (at % 3 == 1) {
            const std::string& payload = malformed[at / 3 % std::size(malformed)];
            far.rtp.SendTo(far.enginePort, Datagram().RtpHeader(false, RECV_RED, seq, 0, FAR_SSRC).Text(payload));
        }
        far.SendRed(seq, {earlier(at, 2), earlier(at, 1)}, typed.substr(at, 1));
    }
    EXPECT_TRUE(WaitUntil([&] { return Shown(channel).size() >= typed.size(); }));
    usleep(150000); // for what should not come
    EXPECT_EQ(typed, Shown(channel));
    EXPECT_EQ(typed.size(), Events(VRN_EVENT_TEXT_RECEIVED).size());
    EXPECT_EQ(200, far.rtcp.Receive().at(1)) << "and reports go on";
}

// select() watches no descriptor of 1024 or more: receiving is refused there, and works again below. The engine's own
// are made before or after the host has taken the low ones.
TEST_F(HostLifecycle, DescriptorsOutOfRangeAreRefused) {
    rlimit limit = {};
    getrlimit(RLIMIT_NOFILE, &limit);
    limit.rlim_cur = std::min<rlim_t>(limit.rlim_max, 4096);
    ASSERT_EQ(0, setrlimit(RLIMIT_NOFILE, &limit));
    for (const bool createdBefore : {true, false}) {
        FarEnd far;
        int channel = createdBefore ? Create(far) : -1;
        std::vector<int> filler(1500);
        for (int& fd : filler) {
            fd = open("/dev/null", O_RDONLY | O_CLOEXEC);
        }
        if (filler.back() < FD_SETSIZE) {
            GTEST_SKIP() << "too few descriptors";
        }
        channel = createdBefore ? channel : Create(far);
        LogCapture log;
        EXPECT_EQ(1, engine.VRN_StartFDSR(channel, VRN_CHANNEL_RECVONLY, 0));
        EXPECT_EQ(1U, log.Count("CTextSessionManager::StartFDSR(): StartReceive fail"));
        // A direction that receives and was not started: what a new start is asked for.
        EXPECT_EQ(1, engine.VRN_StartFDSR(channel, 4, 0));
        EXPECT_EQ(1, engine.VRN_SetVEStatus(channel, VRN_CHANNEL_RECVONLY));
        EXPECT_EQ(-1, engine.VRN_ReconfigIPPort(channel));
        EXPECT_EQ(-1, engine.VRN_SetCallOptions(channel, true));
        EXPECT_TRUE(log.Has("CTextTransportManager::SetRtcpEnable(): RTCP enabling failed (0)"));
        EXPECT_EQ(1, engine.VRN_StartFDSR(channel, VRN_CHANNEL_SENDONLY, 0));
        EXPECT_EQ(1, Type(channel, "out"));
        EXPECT_FALSE(far.rtp.Receive().empty()) << "sending needs no select";
        for (const int fd : filler) {
            close(fd);
        }
        EXPECT_EQ(1, engine.VRN_StartFDSR(channel, VRN_CHANNEL_SENDRECV, 0));
        far.SendPlain(1, createdBefore ? "in" : "IN");
        EXPECT_TRUE(WaitUntil([&] { return Shown(channel).size() >= (createdBefore ? 2 : 4); }));
        EXPECT_EQ(1, engine.VRN_DeleteChannel(channel));
    }
}

} // namespace
