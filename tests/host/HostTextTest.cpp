// Text on the wire and text on the screen: what a raw far end reads of typed text, and what the host is shown of what
// it sends.

#include "tests/support/HostFixture.h"

#include <deque>
#include <unistd.h>

namespace {

class HostText : public HostTest {};
class HostWire : public HostTest, public testing::WithParamInterface<uint32_t> {};

constexpr uint32_t OFFSET_LIMIT = 16384; // the timestamp offset of a RED block has 14 bits (RFC 2198, 3)
constexpr uint32_t MIN_INTERVAL_MS = 290;

struct Generation {
    uint32_t timestamp = 0;
    std::string text;
};

// The datagram for a text at a redundancy level; the history is what the level's blocks repeat. The source is taken
// from the datagram that came.
Bytes Expected(const Bytes& came, uint32_t level, uint32_t seq, const std::deque<Generation>& history,
               const std::string& text) {
    const uint32_t timestamp = Read32(came, 4);
    Datagram packet;
    packet.RtpHeader(seq == 1, level == 0 ? SEND_T140 : SEND_RED, seq, timestamp, Read32(came, 8));
    std::string repeated;
    uint32_t regular = level * 300;
    for (const Generation& generation : history) {
        const uint32_t offset = timestamp - generation.timestamp;
        const auto length = static_cast<uint32_t>(generation.text.size());
        packet.RedHeader(SEND_T140, offset < OFFSET_LIMIT ? offset : regular, length);
        regular -= 300;
        repeated += generation.text;
    }
    return (level == 0 ? packet : packet.U8(SEND_T140)).Text(repeated + text);
}

// The lowest level goes over IPv6.
TEST_P(HostWire, TypedTextIsSentAndRepeatedByteForByte) {
    const uint32_t level = GetParam();
    FarEnd far{level == 0 ? "::1" : OwnLoopback()};
    const int channel = Open(far, VRN_CHANNEL_SENDRECV, level);
    for (const char* text : {"h", "i\u20AC", "\b\U0001F642"}) {
        ASSERT_EQ(1, Type(channel, text));
    }
    // At once; with the first tick; then empty until all is repeated, and one empty packet without redundancy.
    std::vector<std::string> texts = {"h", "i\u20AC\b\U0001F642"};
    texts.resize(texts.size() + (level == 0 ? 1 : level));
    std::deque<Generation> history(level, Generation{});
    Bytes packet;
    for (uint32_t seq = 1; seq <= texts.size(); ++seq) {
        const Bytes before = packet;
        packet = far.rtp.Receive();
        ASSERT_EQ(Expected(packet, level, seq, history, texts[seq - 1]), packet) << "packet " << seq;
        EXPECT_TRUE(seq == 1 || Read32(packet, 4) - Read32(before, 4) >= MIN_INTERVAL_MS);
        EXPECT_TRUE(seq == 1 || Read32(packet, 8) == Read32(before, 8));
        history.push_back({Read32(packet, 4), texts[seq - 1]});
        history.pop_front();
    }
    EXPECT_TRUE(far.rtp.Receive(700).empty()) << "nothing more is owed";
    // A pause of sending starts numbers and generations anew.
    EXPECT_EQ(1, engine.VRN_SetVEStatus(channel, VRN_CHANNEL_RECVONLY));
    EXPECT_EQ(-1, Type(channel, "held"));
    EXPECT_EQ(1, engine.VRN_SetVEStatus(channel, VRN_CHANNEL_SENDRECV));
    EXPECT_EQ(1, Type(channel, "b"));
    packet = far.rtp.Receive();
    EXPECT_EQ(Expected(packet, level, 1, {}, "b"), packet);
    far.SendPlain(1, "in");
    EXPECT_TRUE(WaitUntil([&] { return Shown(channel) == "in"; }));
}

INSTANTIATE_TEST_SUITE_P(Levels, HostWire, testing::Values(0U, 2U, 5U));

// A sender report from a channel that sends, a receiver report from one that does not, each every two seconds; and
// silence is the time since the far end's last report.
TEST_F(HostText, ReportsGoBothWaysAndSilenceRaisesOneTimeout) {
    FarEnd talking;
    FarEnd listening;
    const int sender = Open(talking, VRN_CHANNEL_SENDRECV, 0);
    const int receiver = Open(listening, VRN_CHANNEL_RECVONLY);
    EXPECT_EQ(1, Type(sender, "abc"));
    EXPECT_EQ(1, engine.VRN_SetCallOptions(sender, true));
    EXPECT_EQ(1, engine.VRN_SetCallOptions(receiver, true));
    const Bytes first = talking.rtcp.Receive();
    EXPECT_EQ(0x80C80006U, Read32(first, 0)) << "a sender report without a block";
    EXPECT_EQ(Read32(talking.rtp.Receive(), 8), Read32(first, 4));
    EXPECT_EQ(27U, Read32(first, 24)) << "octets, headers included";
    EXPECT_EQ(0x81C90007U, Read32(listening.rtcp.Receive(), 0)) << "a receiver report";

    // Of four packets one is lost: a quarter.
    LogCapture log;
    for (const uint32_t seq : {40, 41, 43}) {
        talking.SendPlain(seq, "t");
    }
    const Bytes report = Datagram().U32(0x81C90007).U32(FAR_SSRC).Text(std::string(24, '\0'));
    talking.rtcp.SendTo(talking.enginePort + 1, report);
    const Bytes second = talking.rtcp.Receive();
    ASSERT_EQ(52U, second.size());
    EXPECT_EQ(FAR_SSRC, Read32(second, 28)) << "the sender of the last RTCP";
    EXPECT_EQ(0x40000001U, Read32(second, 32)) << "fraction and count lost";

    talking.rtcp.SendTo(talking.enginePort + 1, report);
    ASSERT_TRUE(WaitUntil([&] { return log.Count("Socket Recv Data Len: 32") == 2; }));
    usleep(20000);
    CheckSilence(sender); // its far end has reported well within the second
    CheckSilence(receiver);
    usleep(200000);
    ASSERT_EQ(1U, Events(VRN_EVENT_RTCP_TIMEOUT).size());
    EXPECT_EQ(receiver, Events(VRN_EVENT_RTCP_TIMEOUT)[0].channel);
}

TEST_F(HostText, EachCharacterIsOneEventAndLossIsRecoveredOrMarked) {
    FarEnd far;
    const int channel = Open(far, VRN_CHANNEL_RECVONLY);
    const std::string smile = "\U0001F642";
    far.SendRed(10, "", "", "a\u20AC");
    far.SendRed(12, "a\u20AC", smile, "\b"); // 11 is restored
    far.SendRed(11, "", "a\u20AC", smile);   // late
    far.SendRed(12, "a\u20AC", smile, "\b"); // twice
    far.SendRed(17, "x", "", "z");           // 13 and 14 are lost, 16 was empty
    far.SendRed(217, "p", "q", "\u00E9");    // and here 197 packets
    // The length of a mark is the number of packets lost.
    const std::vector<std::string> expected = {"a 1", "\u20AC 3",     smile + " 4", "\b 1", "\xFD\xFF 2", "x 1",
                                               "z 1", "\xFD\xFF 197", "p 1",        "q 1",  "\u00E9 2"};
    ASSERT_TRUE(WaitUntil([&] { return Events(VRN_EVENT_TEXT_RECEIVED).size() >= expected.size(); }));
    usleep(150000); // for what should not come
    std::vector<std::string> shown;
    for (const HostEvent& event : Events(VRN_EVENT_TEXT_RECEIVED)) {
        EXPECT_EQ(channel, event.channel);
        shown.push_back(event.text + ' ' + std::to_string(event.length));
    }
    EXPECT_EQ(expected, shown);
}

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
