#include "codec/T140Codec.h"

#include "tests/support/ManualTime.h"
#include "tests/support/RedBlocks.h"
#include "transport/CTextTransportManager.h"
#include "util/VRNLog.h"

#include <gtest/gtest.h>

namespace {

constexpr uint8_t PT = 98;
constexpr uint32_t START = 100000; // past the 16.4 s from which an offset to tick 0 does not fit

// One payload as the transport gets it, and its blocks: the generations, and the primary last.
struct Sent {
    bool marker;
    uint32_t timestamp;
    std::vector<RedBlock> blocks;
};
std::vector<Sent> s_Sent;

} // namespace

// These stand in the transport's place.
CTextTransportManager::CTextTransportManager() = default;
CTextTransportManager::~CTextTransportManager() = default;

void CTextTransportManager::PacketizeAndSend(st_payloadinfo* info, bool) {
    s_Sent.push_back({info->bMarker == 1, info->nTimeStamp, ParseRed({info->pData, info->pData + info->nLen}, 255)});
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
