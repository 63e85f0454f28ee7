// Text on the wire and text on the screen: what a raw far end reads of typed text, and what the host is shown of what
// it sends.

#include "tests/support/HostFixture.h"

#include <deque>
#include <unistd.h>

namespace {

using namespace std::chrono_literals;

class HostText : public HostTest {};
class HostSending : public HostTest, public testing::WithParamInterface<uint32_t> {};

constexpr uint32_t OFFSET_LIMIT = 16384; // the timestamp offset of a RED block has 14 bits (RFC 2198, 3)
constexpr uint32_t MIN_INTERVAL_MS = 290;

struct Generation {
    uint32_t timestamp = 0;
    std::string text;
};

// The datagram for a text at a redundancy level; the history is what the level's blocks repeat.
Bytes ExpectedPacket(uint32_t level, uint32_t seq, uint32_t timestamp, uint32_t ssrc,
                     const std::deque<Generation>& history, const std::string& text) {
    Datagram packet;
    packet.RtpHeader(seq == 1, level == 0 ? SEND_T140 : SEND_RED, seq, timestamp, ssrc);
    uint32_t place = 0;
    for (const Generation& generation : history) {
        const uint32_t offset = timestamp - generation.timestamp;
        packet.RedHeader(SEND_T140, offset < OFFSET_LIMIT ? offset : (level - place) * 300,
                         static_cast<uint32_t>(generation.text.size()));
        ++place;
    }
    if (level != 0) {
        packet.U8(SEND_T140);
    }
    for (const Generation& generation : history) {
        packet.Text(generation.text);
    }
    return packet.Text(text);
}

TEST_P(HostSending, TypedTextIsSentAndRepeatedByteForByte) {
    const uint32_t level = GetParam();
    FarEnd far;
    const int channel = Open(far, VRN_CHANNEL_SENDONLY, level);
    ASSERT_EQ(1, Type(channel, "h"));
    ASSERT_EQ(1, Type(channel, "i\u20AC"));
    ASSERT_EQ(1, Type(channel, "\b\U0001F642"));
    // At once; with the first tick; then empty until all is repeated, and one empty packet without redundancy.
    std::vector<std::string> texts = {"h", "i\u20AC\b\U0001F642"};
    texts.resize(texts.size() + (level == 0 ? 1 : level));
    std::deque<Generation> history(level, Generation{0, ""});
    uint32_t ssrc = 0;
    uint32_t last = 0;
    for (uint32_t seq = 1; seq <= texts.size(); ++seq) {
        const Bytes packet = far.rtp.Receive();
        const uint32_t timestamp = Read32(packet, 4);
        ssrc = seq == 1 ? Read32(packet, 8) : ssrc;
        ASSERT_EQ(ExpectedPacket(level, seq, timestamp, ssrc, history, texts[seq - 1]), packet) << "packet " << seq;
        EXPECT_TRUE(seq == 1 || timestamp - last >= MIN_INTERVAL_MS) << timestamp - last;
        last = timestamp;
        history.push_back({timestamp, texts[seq - 1]});
        history.pop_front();
    }
    EXPECT_LT(ssrc, 0x80000000U);
    EXPECT_TRUE(far.rtp.Receive(700).empty()) << "nothing more is owed";
    ASSERT_EQ(1, Type(channel, "again"));
    EXPECT_EQ(0x80U | (level == 0 ? SEND_T140 : SEND_RED), far.rtp.Receive().at(1)) << "marked after the pause";
}

INSTANTIATE_TEST_SUITE_P(Levels, HostSending, testing::Range(0U, 6U));

TEST_F(HostText, PauseStartsNumbersAndGenerationsAnew) {
    FarEnd far;
    const int channel = Open(far, VRN_CHANNEL_SENDRECV);
    ASSERT_EQ(1, Type(channel, "a"));
    const uint32_t ssrc = Read32(far.rtp.Receive(), 8);
    ASSERT_EQ(1, engine.VRN_SetVEStatus(channel, VRN_CHANNEL_RECVONLY));
    while (!far.rtp.Receive(0).empty()) {
    }
    EXPECT_EQ(-1, Type(channel, "held"));
    ASSERT_EQ(1, engine.VRN_SetVEStatus(channel, VRN_CHANNEL_SENDRECV));
    ASSERT_EQ(1, Type(channel, "b"));
    const Bytes first = far.rtp.Receive();
    EXPECT_EQ(ExpectedPacket(2, 1, Read32(first, 4), ssrc, {}, "b"), first);
    const Bytes second = far.rtp.Receive();
    EXPECT_EQ(ExpectedPacket(2, 2, Read32(second, 4), ssrc, {{Read32(first, 4), "b"}}, ""), second);
}

TEST_F(HostText, IPv6CarriesBothWays) {
    FarEnd far("::1");
    const int channel = Open(far, VRN_CHANNEL_SENDRECV, 0);
    ASSERT_EQ(1, Type(channel, "out"));
    const Bytes sent = far.rtp.Receive();
    EXPECT_EQ(ExpectedPacket(0, 1, Read32(sent, 4), Read32(sent, 8), {}, "out"), sent);
    far.SendPlain(1, "in");
    EXPECT_TRUE(WaitUntil([&] { return Shown(channel) == "in"; }));
}

// A sender report from a channel that sends, a receiver report from one that does not, each every two seconds.
TEST_F(HostText, ReportsGoOutEveryTwoSeconds) {
    FarEnd talking;
    FarEnd listening;
    const int sender = Open(talking, VRN_CHANNEL_SENDRECV, 0);
    const int receiver = Open(listening, VRN_CHANNEL_RECVONLY);
    EXPECT_EQ(1, Type(sender, "abc"));
    const uint32_t ssrc = Read32(talking.rtp.Receive(), 8);
    EXPECT_EQ(1, engine.VRN_SetCallOptions(sender, true));
    EXPECT_EQ(1, engine.VRN_SetCallOptions(receiver, true));
    const Bytes first = talking.rtcp.Receive();
    ASSERT_EQ(28U, first.size());
    EXPECT_EQ(0x80C80006U, Read32(first, 0)) << "a sender report without a block";
    EXPECT_EQ(ssrc, Read32(first, 4));
    EXPECT_EQ(2U, Read32(first, 20)) << "packets: the text and the empty one after it";
    EXPECT_EQ(27U, Read32(first, 24)) << "octets, headers included";

    // Of four packets one is lost: a quarter.
    for (const uint32_t seq : {40, 41, 43}) {
        talking.SendPlain(seq, "t");
    }
    talking.SendRtcp();
    const Bytes second = talking.rtcp.Receive();
    ASSERT_EQ(52U, second.size());
    EXPECT_EQ(0x81C8000CU, Read32(second, 0));
    EXPECT_EQ(FAR_SSRC, Read32(second, 28)) << "the sender of the last RTCP";
    EXPECT_EQ(0x40000001U, Read32(second, 32)) << "fraction and count lost";
    EXPECT_EQ(43U, Read32(second, 36)) << "highest number";
    const auto milliseconds = [](const Bytes& report) {
        return Read32(report, 8) * 1000ULL + (Read32(report, 12) * 1000ULL >> 32);
    };
    EXPECT_GE(milliseconds(second) - milliseconds(first), 1900U);

    const Bytes report = listening.rtcp.Receive();
    ASSERT_EQ(32U, report.size());
    EXPECT_EQ(0x81C90007U, Read32(report, 0)) << "a receiver report";
    EXPECT_EQ(1, engine.VRN_SetCallOptions(receiver, false));
    while (!listening.rtcp.Receive(0).empty()) {
    }
    EXPECT_TRUE(listening.rtcp.Receive(2500).empty()) << "switched off stays off";
}

TEST_F(HostText, SilenceRaisesOneTimeoutAndReportsPostponeIt) {
    FarEnd far;
    const int channel = Open(far, VRN_CHANNEL_SENDRECV);
    EXPECT_EQ(1, engine.VRN_SetCallOptions(channel, true));
    usleep(SILENCE_US);
    LogCapture log;
    far.SendRtcp(201);
    ASSERT_TRUE(WaitUntil([&] { return log.Has("Socket Recv Data Len: 32"); }));
    EXPECT_EQ(1, engine.VRN_SetRtcpTimeout(channel, 1));
    EXPECT_EQ(1, engine.VRN_SetCallOptions(channel, false));
    EXPECT_EQ(1, engine.VRN_SetCallOptions(channel, true));
    const auto timeouts = [] { return Events(VRN_EVENT_RTCP_TIMEOUT); };
    EXPECT_TRUE(StaysFalse([&] { return !timeouts().empty(); }, 200ms)) << "the far end has just reported";
    far.SendRtcp(203); // BYE is no report
    RaiseTimeout(channel);
    ASSERT_TRUE(WaitUntil([&] { return !timeouts().empty(); }));
    EXPECT_TRUE(StaysFalse([&] { return timeouts().size() > 1; }, 200ms));
    EXPECT_EQ(channel, timeouts()[0].channel);
}

TEST_F(HostText, EachCharacterIsOneEventAndLossIsRecoveredOrMarked) {
    FarEnd far;
    const int channel = Open(far, VRN_CHANNEL_RECVONLY);
    const std::string smile = "\U0001F642";
    far.SendRed(10, {"", ""}, "a\u20AC");
    far.SendRed(12, {"a\u20AC", smile}, "\b"); // 11 is restored
    far.SendRed(11, {"", "a\u20AC"}, smile);   // late
    far.SendRed(12, {"a\u20AC", smile}, "\b"); // twice
    far.SendRed(17, {"x", ""}, "z");           // 13 and 14 are lost, 16 was empty
    far.SendRed(217, {"p", "q"}, "\u00E9");    // and here 197 packets
    far.SendPlain(218, "\uFEFF");
    struct Expected {
        std::string text;
        int length = 0;
    };
    const Expected expected[] = {{"a", 1}, {"\u20AC", 3},     {smile, 4}, {"\b", 1}, {"\xFD\xFF", 2}, {"x", 1},
                                 {"z", 1}, {"\xFD\xFF", 197}, {"p", 1},   {"q", 1},  {"\u00E9", 2},   {"\uFEFF", 3}};
    ASSERT_TRUE(WaitUntil([&] { return Events(VRN_EVENT_TEXT_RECEIVED).size() >= std::size(expected); }));
    usleep(150000); // for what should not come
    const auto events = Events(VRN_EVENT_TEXT_RECEIVED);
    ASSERT_EQ(std::size(expected), events.size());
    for (size_t i = 0; i < events.size(); ++i) {
        EXPECT_EQ(channel, events[i].channel);
        EXPECT_EQ(expected[i].text, events[i].text) << i;
        EXPECT_EQ(expected[i].length, events[i].length) << i;
    }
}

TEST_F(HostText, OnlyTheActiveChannelIsShown) {
    FarEnd first;
    FarEnd second;
    const int a = Open(first, VRN_CHANNEL_RECVONLY);
    const int b = Open(second, VRN_CHANNEL_RECVONLY);
    first.SendPlain(1, "waits");
    second.SendPlain(1, "shown");
    ASSERT_TRUE(WaitUntil([&] { return Shown(b) == "shown"; }));
    EXPECT_EQ("", Shown(a));
    // Receiving starts again on the first: what came meanwhile is there.
    EXPECT_EQ(1, engine.VRN_SetVEStatus(a, VRN_CHANNEL_SENDRECV));
    EXPECT_EQ(1, engine.VRN_SetVEStatus(a, VRN_CHANNEL_RECVONLY));
    EXPECT_TRUE(WaitUntil([&] { return Shown(a) == "waits"; }));
    EXPECT_EQ("shown", Shown(b));
}

// Event 1 goes to the handler of the moment, event 2 to that of the channel's creation; none is a handler too.
TEST_F(HostText, HandlersAreTheCurrentForTextAndTheFirstForTimeouts) {
    FarEnd far;
    FarEnd silent;
    const int channel = Open(far, VRN_CHANNEL_RECVONLY);
    engine.VRN_SetEventHandler(nullptr);
    const int unheard = Open(silent, VRN_CHANNEL_SENDONLY);
    LogCapture log;
    far.SendPlain(1, "u");
    ASSERT_TRUE(WaitUntil([&] { return log.Has("GetTextAndDisplay(): Sending for Disp Len 1, Sess 0"); }));
    engine.VRN_SetEventHandler(SecondHandler);
    far.SendPlain(2, "v");
    ASSERT_TRUE(WaitUntil([&] { return Shown(channel) == "v"; }));
    EXPECT_EQ(2, Events(VRN_EVENT_TEXT_RECEIVED)[0].handler);
    RaiseTimeout(unheard);
    RaiseTimeout(channel);
    ASSERT_TRUE(WaitUntil([&] { return !Events(VRN_EVENT_RTCP_TIMEOUT).empty(); }));
    ASSERT_EQ(1U, Events(VRN_EVENT_RTCP_TIMEOUT).size());
    EXPECT_EQ(channel, Events(VRN_EVENT_RTCP_TIMEOUT)[0].channel);
    EXPECT_EQ(1, Events(VRN_EVENT_RTCP_TIMEOUT)[0].handler);
}

} // namespace
