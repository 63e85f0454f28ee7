#include "call/ScreenText.h"
#include "call/CallStatus.h"

#include <clocale>
#include <gtest/gtest.h>

namespace {

constexpr int WIDTH = 10;
constexpr int HEIGHT = 4;

// The rows, each with a bar behind it.
std::string Shown(const ScreenText& screen) {
    std::string shown;
    for (const ScreenRow& row : screen.Rows(WIDTH, HEIGHT)) {
        shown += row.text + "|";
    }
    return shown;
}

struct ScreenTextTest : testing::Test {
    static void SetUpTestSuite() { ASSERT_NE(setlocale(LC_CTYPE, "C.UTF-8"), nullptr); }
};

} // namespace

TEST_F(ScreenTextTest, T140TextIsShownAsAPersonReadsIt) {
    const struct {
        const char* claim;
        std::string text;
        const char* shown;
    } cases[] = {
        {"backspace erases a wide character whole", "a日\bx", "ax|"},
        {"and a character with all its marks", "ae\u0301\u0323\bx", "ax|"},
        {"and a new line, however it was written", "a\r\n\bb\u2028\bc\n\bd", "abcd|"},
        {"and goes on across the line", "ab\r\n\b\bx", "ax|"},
        {"and finds an end", "a\b\b\bb", "b|"},
        {"CR LF is one new line", "a\r\nb", "a|b|"},
        {"CR LF twice is two", "a\r\n\r\nb", "a||b|"},
        {"LINE SEPARATOR, CR, LF and PARAGRAPH SEPARATOR alone", "a\u2028b\rc\nd\u2029", "b|c|d||"},
        {"the byte order mark shows nothing", "\uFEFFa\uFEFFb", "ab|"},
        {"SGR in both forms", "a\u009B1;31mb\033[0mc", "abc|"},
        {"unknown sequences", "a\033[?25l\033(B\033ab\033#8c", "abc|"},
        {"a control string to its end", "a\u0098secret\u009Cb\033]0;title\007c\033Pq\033\\d", "abcd|"},
        {"a string that never ends hides no more than it may", "\033X" + std::string(256, 'x') + "a", "a|"},
        {"nor do parameters", "\033[" + std::string(40, '1'), "111111111|"},
        {"nor is a new line hidden", "a\u0098\u2028b", "a|b|"},
        {"a sequence broken off by another character", "a\033[1日b\033\bc", "a日c|"},
        {"other controls", std::string("a\0\x01\x7F\u0085\tb", 8), "a b|"},
        {"what is no character", "a\xFF\xC0\xED\xA0\x80z", "a\uFFFD\uFFFD\uFFFDz|"},
        {"a mark without a character stands on a blank", "\u0301\r\n\u0301", " \u0301| \u0301|"},
        {"marks are bounded", "e\u0301\u0301\u0301\u0301\u0301\u0301x", "e\u0301\u0301\u0301\u0301x|"},
        {"joiners and variation selectors, with which a terminal would draw less", "👨\u200D👩\u2764\uFE0Fx",
         "👨👩\u2764x|"},
        {"bidirectional controls, which would turn the row about", "a\u202Eb\u2066c\u200F", "abc|"},
        {"lines break at the width", "0123456789ab", "0123456789|ab|"},
        {"a wide character is not split", "012345678日x", "012345678|日x|"},
        {"and fits exactly", "01234567日x", "01234567日|x|"},
        {"marks need no room", "012345678e\u0301x", "012345678e\u0301|x|"},
        {"the last rows are shown", "1\n2\n3\n4\n0123456789abc", "3|4|0123456789|abc|"},
    };
    for (const auto& each : cases) {
        ScreenText screen;
        screen.Put(each.text);
        EXPECT_EQ(Shown(screen), each.shown) << each.claim;
    }
}

TEST_F(ScreenTextTest, ALossIsASignForEachPacketOrOneWithTheCount) {
    const struct {
        int packets;
        const char* shown;
        const char* afterBackspace;
    } cases[] = {
        {1, "a\uFFFD|", "a|"},
        {3, "a\uFFFD\uFFFD\uFFFD|", "a\uFFFD\uFFFD|"},
        {8, "a\uFFFD\uFFFD\uFFFD\uFFFD\uFFFD\uFFFD\uFFFD\uFFFD|", "a\uFFFD\uFFFD\uFFFD\uFFFD\uFFFD\uFFFD\uFFFD|"},
        {9, "a\uFFFD(9)|", "a|"},
        {5000, "a\uFFFD(5000)|", "a|"},
        {-4, "a\uFFFD|", "a|"},
    };
    for (const auto& each : cases) {
        ScreenText screen;
        screen.Put("a\033["); // what would end the sequence is lost
        screen.PutLoss(each.packets);
        EXPECT_EQ(Shown(screen), each.shown);
        screen.Put("\b");
        EXPECT_EQ(Shown(screen), each.afterBackspace) << each.packets;
    }
    ScreenText screen;
    screen.Put("12345");
    screen.PutLoss(5000);
    EXPECT_EQ(Shown(screen), "12345|\uFFFD(5000)|") << "a count is not split";
}

TEST_F(ScreenTextTest, ABellRingsOnceAndNotInsideAString) {
    ScreenText screen;
    screen.Put("\033]0;title\007");
    EXPECT_FALSE(screen.TakeBell());
    screen.Put("a\007\007");
    EXPECT_TRUE(screen.TakeBell());
    EXPECT_FALSE(screen.TakeBell());
}

TEST_F(ScreenTextTest, ALineIsTakenWhenTheNextBeginsAndANewLineCutInTwoIsOne) {
    ScreenText screen;
    std::string taken;
    for (const char* piece : {"a", "b", "\b", "c\u200D", "\r", "\n", "\u2028", "d", "\b", "\b"}) {
        screen.Put(piece);
        while (const auto line = screen.TakeLine()) {
            taken += *line + "|";
        }
    }
    EXPECT_EQ(taken, "ac\u200D||") << "what is not shown is still there";
}

TEST_F(ScreenTextTest, WhatIsKeptIsBounded) {
    ScreenText lines;
    ScreenText oneLine;
    for (size_t i = 0; i < 2 * ScreenText::MAX_KEPT; ++i) {
        lines.Put(i % 2 == 0 ? "a" : "\n");
        oneLine.Put("a");
    }
    for (const ScreenText* screen : {&lines, &oneLine}) {
        const size_t rows = screen->Rows(1, 1 << 30).size();
        EXPECT_LE(rows, ScreenText::MAX_KEPT);
        EXPECT_GE(rows, ScreenText::MAX_KEPT / 4);
    }
}

TEST(CallStatus, FitsTheNarrowestScreenWithNumbersOfALongCall) {
    const CallStatus status = {
        VRN_CHANNEL_RECVONLY, 15, PacketCounts{36000, 36000, 5400, 5400}, 35999, false, 9, 35999999};
    const auto lines = StatusLines(status, 39);
    EXPECT_LE(lines.size(), 4U);
    for (const std::string& line : lines) {
        EXPECT_LE(line.size(), 39U) << line;
    }
}

TEST(PacketCounter, TellsRtpFromRtcpAndTypedTextFromItsOwnLines) {
    PacketCounter counter;
    counter.SetRemoteRtcpPort(6005);
    const char* lines[] = {
        "CSocket::Sendto(): RTT TX: len:14 port=29719", // 6004 in the order of the wire
        "CSocket::Sendto(): RTT TX: len:14 port=29719",
        "CSocket::Sendto(): RTT TX: len:-1 port=29719",
        "CSocket::Sendto(): RTT TX: len:28 port=29975", // 6005
        "CSocket::RecvFrom(): Socket Recv Data Len: 16",
        "CTextTransportManager::ProcessRecvdRTP(): RTT RX: Recvd PT:100, Seq.no:1",
        "CSocket::RecvFrom(): Socket Recv Data Len: 32",
        "CSocket::RecvFrom(): Socket Recv Data Len: 8",
        "T140Codec::SendText(): SendText: Enqueue text: CSocket::RecvFrom(): Socket Recv Data Len: 32 , 45"};
    for (const char* line : lines) {
        counter.Count(line);
    }
    const PacketCounts counts = counter.Counts();
    EXPECT_EQ(counts.rtpSent, 2U);
    EXPECT_EQ(counts.rtcpSent, 1U);
    EXPECT_EQ(counts.rtpReceived, 1U);
    EXPECT_EQ(counts.rtcpReceived, 2U);
}
