#include "codec/T140Codec.h"

#include "tests/support/ManualTime.h"
#include "tests/support/UdpPeer.h"
#include "transport/CTextTransportManager.h"
#include "util/VRNLog.h"

#include <gtest/gtest.h>
#include <random>

namespace {

constexpr uint8_t PT = 98;
constexpr uint32_t START = 100000; // past the 16.4 s from which an offset to tick 0 does not fit

// One payload as the transport gets it, and taken apart: its blocks, the primary last, and their offsets.
struct Sent {
    Bytes data;
    bool marker, isRed;
    uint32_t timestamp;
    std::vector<std::string> blocks;
    std::vector<uint32_t> offsets;

    const std::string& Primary() const { return blocks.back(); }
    void Parse();
};
std::vector<Sent> s_Sent;

void Sent::Parse() {
    std::vector<size_t> lengths;
    auto at = data.begin();
    for (; isRed && *at != PT; at += 4) {
        EXPECT_EQ(0x80 | PT, *at);
        offsets.push_back(at[1] * 64U + at[2] / 4U);
        lengths.push_back(at[2] % 4 * 256U + at[3]);
    }
    at += isRed ? 1 : 0;
    for (size_t length : lengths) {
        blocks.emplace_back(at, at + static_cast<long>(length));
        at += static_cast<long>(length);
    }
    blocks.emplace_back(at, data.end());
}

} // namespace

// These stand in the transport's place.
CTextTransportManager::CTextTransportManager() = default;
CTextTransportManager::~CTextTransportManager() = default;

void CTextTransportManager::PacketizeAndSend(st_payloadinfo* info, bool isRed) {
    const Bytes data(info->pData, info->pData + info->nLen);
    s_Sent.push_back({data, info->bMarker == 1, isRed, info->nTimeStamp, {}, {}});
    s_Sent.back().Parse();
}

namespace {

class T140CodecSend : public ::testing::Test {
protected:
    T140CodecSend() { VRNlogLevel = 0; }
    ~T140CodecSend() override {
        m_pCodec->Delnit();
        VRNlogLevel = 4;
    }

    void Open(unsigned level) {
        if (m_pCodec != nullptr) {
            m_pCodec->Delnit();
        }
        manual_time::Reset();
        manual_time::SetTick(START);
        s_Sent.clear();
        m_pCodec = std::make_unique<T140Codec>(&m_Transport);
        m_pCodec->Init(level, PT, nullptr);
    }

    int Type(std::string text) {
        return m_pCodec->SendText(reinterpret_cast<unsigned char*>(text.data()), static_cast<unsigned>(text.size()));
    }

    // All text sent, each part once, after the ticks have ended.
    static std::string Delivered() {
        manual_time::Advance(1000000);
        std::string text;
        for (const Sent& sent : s_Sent) {
            text += sent.Primary();
        }
        return text;
    }

    CTextTransportManager m_Transport;
    std::unique_ptr<T140Codec> m_pCodec;
};

TEST_F(T140CodecSend, TheFirstPacketsAtLevelTwoAreTheseBytes) {
    Open(2);
    EXPECT_EQ(1, Type("a"));
    manual_time::Advance(300);
    EXPECT_EQ(1, Type("b"));
    EXPECT_EQ(1, Type("\xC3\xA9"));
    manual_time::Advance(300);
    const Bytes packets[] = {
        Datagram()
            .RedHeader(PT, 600, 0) // empty: before the first
            .RedHeader(PT, 300, 0) // empty
            .U8(PT)                // primary
            .Text("a"),            // primary
        Datagram()
            .RedHeader(PT, 600, 0) // empty
            .RedHeader(PT, 300, 1) // "a"
            .U8(PT)                // primary, empty
            .Text("a"),            // 300 ms ago
        Datagram()
            .RedHeader(PT, 600, 1) // "a"
            .RedHeader(PT, 300, 0) // empty
            .U8(PT)                // primary
            .Text("a")             // 600 ms ago
            .Text("b\xC3\xA9"),    // typed since
    };
    ASSERT_EQ(3U, s_Sent.size());
    for (size_t i = 0; i < 3; ++i) {
        EXPECT_EQ(packets[i], s_Sent[i].data);
    }
}

// Types at random times until so much is typed, and checks that what is typed from idle is sent at once.
std::string RandomText(std::mt19937& random, size_t bytes) {
    const char* const characters[] = {"e", "\xC3\xA9", "\xE2\x82\xAC", "\xF0\x9F\x98\x80", "\b"};
    std::string text;
    while (text.size() + 4 <= bytes) {
        text += characters[random() % 5];
    }
    return text + std::string(bytes - text.size(), '.');
}

// What holds of every packet: its size, its generations, the cadence, and that each text is repeated.
void CheckPackets(unsigned level) {
    const size_t repeats = std::max(level, 1U);
    size_t idleFor = repeats; // packets since the last text
    for (size_t i = 0; i < s_Sent.size(); ++i) {
        const Sent& sent = s_Sent[i];
        EXPECT_EQ(level > 0, sent.isRed);
        EXPECT_LE(sent.data.size(), sent.marker && level == 0 ? 1400U : 500U);
        EXPECT_NE(0x80, sent.Primary()[0] & 0xC0) << "cut within a character";
        EXPECT_TRUE(sent.marker ? idleFor == repeats : sent.timestamp == s_Sent[i - 1].timestamp + 300) << i;
        idleFor = sent.Primary().empty() ? idleFor + 1 : 0;
        EXPECT_LE(idleFor, repeats);
        ASSERT_EQ(level, sent.offsets.size());
        for (size_t back = 1; back <= level; ++back) {
            const uint32_t age = sent.timestamp - (back <= i ? s_Sent[i - back].timestamp : 0);
            EXPECT_EQ((age < 16384 ? age : back * 300) % 16384, sent.offsets[level - back]); // 14 bits of it
            EXPECT_EQ(back <= i ? s_Sent[i - back].Primary() : "", sent.blocks[level - back]);
        }
    }
    EXPECT_EQ(repeats, idleFor);
}

TEST_F(T140CodecSend, RandomTypingArrivesWholeAndIsRepeatedOnceALevel) {
    const unsigned levels[] = {0, 1, 2, 3, 4, 5, 60, 123};
    const uint32_t pauses[] = {0, 299, 300, 1000, 16083, 16084, 16383, 16384};
    const uint32_t seed = std::random_device()();
    std::mt19937 random(seed);
    for (unsigned round = 0; round < 400 && !HasFailure(); ++round) {
        SCOPED_TRACE("seed " + std::to_string(seed) + ", round " + std::to_string(round));
        const unsigned level = levels[round % 8];
        Open(level);
        std::string typed;
        for (int chunk = 0; chunk < 20; ++chunk) {
            const bool isIdle = manual_time::ArmedTimers() == 0;
            const size_t before = s_Sent.size();
            // Alone in its packet, text from idle is not split.
            const size_t room = !isIdle ? 1500 : level == 0 ? 1400 : 499 - 4 * level;
            const std::string text =
                RandomText(random, random() % 4 == 0 ? room : 1 + random() % std::min<size_t>(room, 9));
            typed += text;
            ASSERT_EQ(1, Type(text));
            ASSERT_EQ(before + (isIdle ? 1 : 0), s_Sent.size());
            EXPECT_TRUE(!isIdle || s_Sent.back().marker);
            manual_time::Advance(random() % 2 == 0 ? random() % 700 : pauses[random() % 8]);
        }
        EXPECT_EQ(typed, Delivered());
        CheckPackets(level);
    }
}

TEST_F(T140CodecSend, WhatDoesNotFitIsRefused) {
    const struct {
        unsigned level;
        size_t length; // typed from idle
        int result;
        std::vector<size_t> sent; // payloads
    } cases[] = {
        {0, 0, -1, {}},          {0, 1400, 1, {1400, 0}},
        {0, 1401, -1, {}},       {256, 1400, 1, {1400, 0}}, // of a level the low eight bits count
        {1, 495, 1, {500, 500}},                            // a header, the primary's and the text
        {1, 496, 1, {}},                                    // a byte too many: dropped with its repeat
        {2, 1401, -1, {}},       {124, 4, 1, {}},
    };
    for (const auto& c : cases) {
        Open(c.level);
        EXPECT_EQ(c.result, Type(std::string(c.length, 't')));
        Delivered();
        std::vector<size_t> sent;
        for (const Sent& packet : s_Sent) {
            sent.push_back(packet.data.size());
        }
        EXPECT_EQ(c.sent, sent) << c.level << ", " << c.length;
    }
    EXPECT_EQ(-1, m_pCodec->SendText(nullptr, 7));
    Open(124); // above 123 the headers leave no room to split text for
    Type("x");
    Type("abc");
    EXPECT_EQ("x", Delivered());
    Open(2);
    Type("x");
    const std::string most = RandomText(*std::make_unique<std::mt19937>(), 65530);
    EXPECT_EQ(1, Type(most));
    EXPECT_EQ(-1, Type("1234567")); // past 64 KiB, and as a whole
    EXPECT_EQ(1, Type("123456"));
    EXPECT_EQ(-1, Type("7"));
    manual_time::Advance(300);
    EXPECT_EQ(1, Type("8")); // the tick made room
    EXPECT_EQ("x" + most + "1234568", Delivered());
}

TEST_F(T140CodecSend, AStopDropsTextAndGenerationsAndTheTickItOvertakes) {
    Open(2);
    Type("a");
    Type("lost with the stop");
    manual_time::BeforeNextExpiry([this] {
        m_pCodec->ReInitialize();
        Type("b");
    });
    EXPECT_EQ("ab", Delivered());
    ASSERT_EQ(4U, s_Sent.size());
    for (uint32_t repeat = 0; repeat < 3; ++repeat) { // generations of what was sent since
        const Sent& sent = s_Sent[1 + repeat];
        EXPECT_EQ(START + 300 + 300 * repeat, sent.timestamp);
        EXPECT_EQ(repeat, sent.offsets.size());
        EXPECT_EQ("b", sent.blocks[0]);
        EXPECT_TRUE(sent.isRed);
    }
    Type("c");
    manual_time::BeforeNextExpiry([this] { m_pCodec->Delnit(); });
    EXPECT_EQ("abc", Delivered());
    EXPECT_EQ(5U, s_Sent.size());
    EXPECT_EQ(-1, Type("x"));
}

TEST_F(T140CodecSend, ATickThatCannotBeArmedLeavesItsTextToTheNextCall) {
    Open(2);
    manual_time::FailNextStarts(1);
    EXPECT_EQ(-1, Type("x")); // but it is sent
    EXPECT_EQ(1, Type("y"));  // and this, still idle, at once
    const std::string text(1200, 't');
    Type(text);
    manual_time::FailNextStarts(1);
    manual_time::Advance(3000);
    ASSERT_EQ(3U, s_Sent.size());
    EXPECT_EQ(1, Type("Z"));
    ASSERT_EQ(4U, s_Sent.size());
    EXPECT_TRUE(s_Sent[1].marker && s_Sent[3].marker);
    EXPECT_EQ("xy" + text + "Z", Delivered());
    EXPECT_EQ("", s_Sent.back().Primary()); // the last one was repeated, too
    EXPECT_EQ("Z", s_Sent.back().blocks[0].substr(s_Sent.back().blocks[0].size() - 1));
}

} // namespace
