#include "codec/T140Codec.h"

#include "tests/support/ManualTime.h"
#include "tests/support/RedBlocks.h"
#include "transport/CTextTransportManager.h"
#include "util/VRNLog.h"

#include <gtest/gtest.h>
#include <random>

namespace {

constexpr uint8_t PT = 98;
constexpr uint32_t START = 100000; // past the 16.4 s from which an offset to tick 0 does not fit

// One payload as the transport gets it, and its blocks: the generations, and the primary last.
struct Sent {
    Bytes data;
    bool marker, isRed;
    uint32_t timestamp;
    std::vector<RedBlock> blocks;
};
std::vector<Sent> s_Sent;

} // namespace

// These stand in the transport's place.
CTextTransportManager::CTextTransportManager() = default;
CTextTransportManager::~CTextTransportManager() = default;

void CTextTransportManager::PacketizeAndSend(st_payloadinfo* info, bool isRed) {
    const Bytes data(info->pData, info->pData + info->nLen);
    const std::vector<RedBlock> plain = {{PT, 0, std::string(data.begin(), data.end())}};
    s_Sent.push_back({data, info->bMarker == 1, isRed, info->nTimeStamp, isRed ? ParseRed(data, 255) : plain});
}

namespace {

class T140CodecSend : public ::testing::Test {
protected:
    ~T140CodecSend() override { m_pCodec->Delnit(); }

    void Open(unsigned level) {
        if (m_pCodec != nullptr) {
            m_pCodec->Delnit();
        }
        VRNlogLevel = 0;
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
        for (int ticks = 0; manual_time::ArmedTimers() != 0 && ticks < 100000; ++ticks) {
            manual_time::Advance(300);
        }
        std::string text;
        for (const Sent& sent : s_Sent) {
            text += sent.blocks.back().data;
        }
        return text;
    }

    CTextTransportManager m_Transport;
    std::unique_ptr<T140Codec> m_pCodec;
};

TEST_F(T140CodecSend, TheFirstPacketsAtLevelTwoAreTheseBytes) {
    Open(2);
    Type("a");
    manual_time::Advance(300);
    Type("b");
    Type("\xC3\xA9");
    manual_time::Advance(300);
    ASSERT_EQ(3U, s_Sent.size());
    const Bytes first = Datagram()
                            .RedHeader(PT, 600, 0) // empty: before the first
                            .RedHeader(PT, 300, 0) // empty
                            .U8(PT)                // primary
                            .Text("a");            // primary
    EXPECT_EQ(first, s_Sent[0].data);
    const Bytes third = Datagram()
                            .RedHeader(PT, 600, 1) // "a"
                            .RedHeader(PT, 300, 0) // empty
                            .U8(PT)                // primary
                            .Text("a")             // 600 ms ago
                            .Text("b\xC3\xA9");    // typed since
    EXPECT_EQ(third, s_Sent[2].data);
}

// What holds of every packet: its size, its generations, the cadence, and that each text is repeated.
void CheckPackets(unsigned level) {
    const size_t repeats = std::max(level, 1U);
    size_t idleFor = repeats; // packets since the last text
    for (size_t i = 0; i < s_Sent.size(); ++i) {
        const Sent& sent = s_Sent[i];
        EXPECT_EQ(level > 0, sent.isRed);
        EXPECT_LE(sent.data.size(), sent.marker && level == 0 ? 1400U : 500U);
        EXPECT_TRUE(sent.marker ? idleFor == repeats : sent.timestamp == s_Sent[i - 1].timestamp + 300) << i;
        ASSERT_EQ(level + 1, sent.blocks.size());
        EXPECT_NE(0x80, sent.blocks[level].data[0] & 0xC0) << "cut within a character";
        idleFor = sent.blocks[level].data.empty() ? idleFor + 1 : 0;
        EXPECT_LE(idleFor, repeats);
        for (size_t back = 0; back <= level; ++back) {
            const RedBlock& block = sent.blocks[level - back];
            const uint32_t age = sent.timestamp - (back <= i ? s_Sent[i - back].timestamp : 0);
            EXPECT_EQ(PT, block.payloadType);
            EXPECT_EQ((age < 16384 ? age : back * 300) % 16384, block.offset); // 14 bits of it
            EXPECT_EQ(back <= i ? s_Sent[i - back].blocks[level].data : "", block.data);
        }
    }
    EXPECT_EQ(repeats, idleFor);
}

TEST_F(T140CodecSend, RandomTypingArrivesWholeAndIsRepeatedOnceALevel) {
    const std::string characters[] = {"e", "\xC3\xA9", "\xE2\x82\xAC", "\xF0\x9F\x98\x80", "\xFC\x84\x80\x80\x80\x80"};
    const uint32_t pauses[] = {0, 299, 300, 1000, 16683, 16684, 16983, 16984};
    const uint32_t seed = std::random_device()();
    std::mt19937 random(seed);
    for (unsigned round = 0; round < 240 && !HasFailure(); ++round) {
        SCOPED_TRACE("seed " + std::to_string(seed) + ", round " + std::to_string(round));
        const unsigned level = round % 40 == 39 ? 123 : round % 40 == 19 ? 60 : round % 6;
        Open(level);
        std::string typed;
        for (int chunk = 0; chunk < 20; ++chunk) {
            const bool isIdle = manual_time::ArmedTimers() == 0;
            const size_t before = s_Sent.size();
            // Alone in its packet, text from idle is not split.
            const size_t room = !isIdle ? (level < 100 ? 1000 : 20) : level == 0 ? 1400 : 499 - 4 * level;
            const size_t length = random() % 4 == 0 ? room : 1 + random() % std::min<size_t>(room, 9);
            std::string text;
            while (text.size() < length) {
                const std::string& character = characters[random() % 5];
                text += text.size() + character.size() <= length ? character : ".";
            }
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
        size_t sent; // bytes of the first payload, 0 for none
    } cases[] = {
        {0, 0, -1, 0},    {0, 1400, 1, 1400},
        {0, 1401, -1, 0}, {256, 1400, 1, 1400}, // of a level the low eight bits count
        {1, 495, 1, 500},                       // a header, the primary's and the text
        {1, 496, 1, 0},                         // dropped with its repeat
    };
    for (const auto& c : cases) {
        Open(c.level);
        EXPECT_EQ(c.result, Type(std::string(c.length, 't')));
        Delivered();
        EXPECT_EQ(c.sent, s_Sent.empty() ? 0 : s_Sent[0].data.size()) << c.level << ", " << c.length;
    }
    EXPECT_EQ(-1, m_pCodec->SendText(nullptr, 7));
    Open(124); // above 123 the headers leave no room to split text for
    Type("x");
    Type("abc");
    EXPECT_EQ("x", Delivered());
    Open(2);
    Type("x");
    const std::string most(65530, 't');
    EXPECT_EQ(1, Type(most));
    EXPECT_EQ(-1, Type("1234567")); // 64 KiB wait, and more is refused as a whole
    EXPECT_EQ(1, Type("123456"));
    EXPECT_EQ(-1, Type("7"));
    manual_time::Advance(300);
    EXPECT_EQ(500U, s_Sent.back().data.size());
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
    for (uint32_t repeat = 0; repeat < 3; ++repeat) { // with as many generations as were sent since
        EXPECT_EQ(START + 300 + 300 * repeat, s_Sent[1 + repeat].timestamp);
        EXPECT_EQ(repeat + 1, s_Sent[1 + repeat].blocks.size());
        EXPECT_EQ("b", s_Sent[1 + repeat].blocks[0].data);
    }
    Type("c");
    manual_time::BeforeNextExpiry([this] { m_pCodec->Delnit(); });
    Delivered();
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
    EXPECT_EQ(3U, s_Sent.size());
    EXPECT_EQ(1, Type("Z"));
    ASSERT_EQ(4U, s_Sent.size());
    EXPECT_TRUE(s_Sent[1].marker && s_Sent[3].marker);
    EXPECT_EQ("xy" + text + "Z", Delivered());
    EXPECT_EQ('Z', s_Sent.back().blocks[0].data.back()); // the last one was repeated, too
}

} // namespace
