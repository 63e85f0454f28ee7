#include "codec/T140Codec.h"

#include "sim/SimRandom.h"
#include "sim/model/PlayoutModel.h"
#include "tests/support/ManualTime.h"
#include "util/VRNClock.h"
#include "util/VRNLog.h"

#include <array>
#include <deque>
#include <gtest/gtest.h>

namespace {

constexpr uint8_t PT = 98;
constexpr uint32_t START = 100000;
constexpr char UNTOUCHED = '\xEE';

using Packet = ModelPacket;

// A RED packet of these blocks, the primary last.
Packet Red(uint32_t seq, const std::vector<std::string>& blocks) {
    Datagram payload;
    for (size_t i = 0; i + 1 < blocks.size(); ++i) {
        payload.RedHeader(PT, 300, static_cast<uint32_t>(blocks[i].size()));
    }
    payload.U8(PT);
    for (const std::string& block : blocks) {
        payload.Text(block);
    }
    return {seq, payload, true};
}

Packet Plain(uint32_t seq, const std::string& text) {
    return {seq, Bytes(text.begin(), text.end()), false};
}

std::string Told(const std::string& text, int length) {
    return length == static_cast<int>(text.size()) ? text : text + "<" + std::to_string(length) + ">";
}

// A codec with its received list, filled as the transport does.
class Receiver {
public:
    explicit Receiver(unsigned level) : m_Codec(nullptr) { m_Codec.Init(level, PT, &m_List); }
    ~Receiver() {
        m_Codec.Delnit();
        while (m_List.Count() > 0) {
            delete m_List.ReadNodeData(nullptr, VRN_LIST_HEAD);
            m_List.DeleteNode(nullptr, VRN_LIST_HEAD);
        }
    }

    void Put(const Packet& packet) {
        const uint32_t length = static_cast<uint32_t>(packet.payload.size());
        CTextDataBuffer* buffer = new CTextDataBuffer(packet.payload.data(), length, nullptr);
        buffer->m_nExtSeqNum = packet.seq;
        buffer->m_bIsRedundant = packet.isRed;
        m_List.AddNode(buffer, nullptr, VRN_LIST_NODE);
    }

    // What one call hands out: text, with what it returns where that is not the text's length.
    std::string Next(uint16_t size) {
        std::string out(size + 8U, UNTOUCHED);
        const int length = m_Codec.GetText(reinterpret_cast<uint8_t*>(out.data()), size);
        out.erase(out.find_last_not_of(UNTOUCHED) + 1);
        return Told(out, length);
    }

    VRNList<CTextDataBuffer*> m_List;
    T140Codec m_Codec;
};

struct T140CodecReceive : public ::testing::Test {
    T140CodecReceive() {
        manual_time::Reset();
        manual_time::SetTick(START);
        VRNlogLevel = 0;
    }
};

TEST_F(T140CodecReceive, WithoutABufferOrAListNothingIsRead) {
    Receiver receiver(2);
    receiver.Put(Red(1, {"a"}));
    EXPECT_EQ(0, receiver.m_Codec.GetText(nullptr, 8));
    receiver.m_Codec.Delnit();
    EXPECT_EQ("", receiver.Next(8));
}

// Somebody's typing, also cut and stray characters.
std::string Characters(SimRandom& random) {
    const std::string sizes = "a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80\xF8\xFC\x84";
    std::string text;
    for (uint32_t count = random.Below(4) * random.Below(2); count > 0; --count) {
        text += sizes.substr(random.Below(13), 1 + random.Below(4));
    }
    return text;
}

// What a sender of this level sends, after a network that loses, damages, repeats and delays.
std::deque<Packet> RandomStream(SimRandom& random, uint32_t level) {
    const uint32_t firsts[] = {0, 1, 1000, 65530};
    const double loss = random.Below(60) / 100.0;
    uint32_t seq = random.OneOf(firsts);
    std::vector<std::string> typed(random.Below(2) * level); // empty generations before there are real ones
    std::deque<Packet> packets;
    for (uint32_t count = 1 + random.Below(30); count > 0; --count, ++seq) {
        typed.push_back(Characters(random));
        const long blocks = std::min<long>(level + 1, static_cast<long>(typed.size()));
        const bool isRed = level > 0 && random.Chance(0.95);
        Packet packet = isRed ? Red(seq, {typed.end() - blocks, typed.end()}) : Plain(seq, typed.back());
        if (random.Chance(0.03)) {
            packet.payload.resize(random.Below(static_cast<uint32_t>(packet.payload.size()) + 1));
        }
        packets.insert(packets.end(), random.Chance(loss) ? 0 : random.Chance(0.05) ? 2 : 1, packet);
        if (packets.size() > 1 && random.Chance(0.1)) {
            std::swap(packets.back(), *(packets.end() - 2));
        }
    }
    return packets;
}

// The tick of the last load is the process's: each of three channels waits for its gaps by the loads of all.
TEST_F(T140CodecReceive, ThreeChannelsThatShareTheirLastLoadHandOutWhatTheModelSays) {
    const uint32_t levels[] = {0, 1, 2, 3, 5, 15, 18};
    uint32_t lastLoad = 0;
    struct Call {
        Call(SimRandom& random, uint32_t sender, uint32_t level, uint32_t& lastLoad)
            : packets(RandomStream(random, sender)), model(level, lastLoad), receiver(level) {}
        std::deque<Packet> packets;
        PlayoutModel model;
        Receiver receiver;
    };
    for (uint64_t seed = 1; seed <= 2000 && !HasFailure(); ++seed) {
        SimRandom random(seed);
        const uint32_t level = random.OneOf(levels);
        const uint32_t other = random.Chance(0.7) ? level : random.OneOf(levels);
        std::array<Call, 3> calls = {Call(random, level, other, lastLoad), Call(random, 1, 1, lastLoad),
                                     Call(random, 2, 2, lastLoad)};
        for (int steps = 0; steps < 90 && !HasFailure(); ++steps) {
            Call& call = calls[random.Below(3)];
            if (!call.packets.empty()) {
                call.model.Put(call.packets.front());
                call.receiver.Put(call.packets.front());
                call.packets.pop_front();
            }
            manual_time::Advance(random.Chance(0.05) ? 1000 : random.Below(400));
            for (uint32_t pulls = random.Below(8); pulls > 0; --pulls) {
                const uint16_t size = static_cast<uint16_t>(random.Chance(0.9) ? 100 : 1 + random.Below(6));
                const Handed expected = call.model.Next(VRNGetTickCount(), size);
                ASSERT_EQ(Told(expected.text, expected.length), call.receiver.Next(size)) << "seed " << seed;
            }
        }
    }
}

} // namespace
