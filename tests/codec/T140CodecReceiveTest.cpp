#include "codec/T140Codec.h"

#include "tests/support/ManualTime.h"
#include "tests/support/RedBlocks.h"
#include "util/VRNClock.h"
#include "util/VRNLog.h"

#include <algorithm>
#include <deque>
#include <gtest/gtest.h>
#include <optional>
#include <random>

namespace {

using namespace std::string_literals;

constexpr uint8_t PT = 98;
constexpr uint32_t START = 100000;
constexpr char UNTOUCHED = '\xEE';

struct Packet {
    uint32_t seq;
    Bytes payload;
    bool isRed = true;
};

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
    return {seq, payload};
}

Packet Plain(uint32_t seq, const std::string& text) {
    return {seq, Bytes(text.begin(), text.end()), false};
}

std::string Handed(const std::string& text, size_t length) {
    return length == text.size() ? text : text + "<" + std::to_string(static_cast<int>(length)) + ">";
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
        return Handed(out, static_cast<size_t>(length));
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

TEST_F(T140CodecReceive, LossIsMarkedAfterOneSecondAndOddPacketsHaveRulesOfTheirOwn) {
    const std::vector<std::string> seventeen(17, "x"); // behind 16 headers the primary's header is the first data byte
    const std::string longest(1399, 't');
    const std::string block(700, 'u');
    const std::vector<Packet> malformed = {
        {10, {}},                                                             // no header
        {10, {0x80 | PT, 0x04}},                                              // a header cut
        {10, Datagram().RedHeader(PT, 300, 1)},                               // no primary header
        {10, Datagram().RedHeader(PT, 300, 3).U8(PT).Text("ab")},             // a block longer than what is there
        {10, Datagram().RedHeader(PT, 0, 1023).RedHeader(PT, 0, 1023).U8(PT)} // lengths that add up to more
    };
    const struct {
        const char* claim; // null: goes on
        unsigned level;
        uint32_t ms;
        std::vector<Packet> packets;
        std::string text;
        uint16_t size = 100;
    } steps[] = {
        {"the level's worth of loss is restored", 2, 0, {Red(10, {"", "", "a"}), Red(11, {block})}, "a" + block},
        {nullptr, 2, 0, {Red(13, {block, "c", "d"})}, "cd"},
        {"more is waited for and marked", 2, 0, {Red(10, {"a"})}, "a"},
        {nullptr, 2, 999, {Red(16, {"m", "n", "o"})}, ""},
        {nullptr, 2, 1000, {}, "\xFD\xFF<3>mno"},
        {"a start at 0 with generations lies below 0", 2, 0, {Red(0, {"a", "b", "c"})}, "\xFD\xFF<-3>abc"},
        {nullptr, 2, 0, {Red(1, {"b", "c", "d"})}, "d"},
        {"after 16 headers no primary is read", 16, 0, {Red(100, {"a"})}, "a"},
        {nullptr, 16, 0, {Red(117, seventeen), Red(118, {"c"})}, "b" + std::string(15, 'x') + "c"},
        {"without a level RED is text", 0, 0, {Red(11, {"x", "y"})}, "\xE2\x04\xB0\x01\x62xy"},
        {"one byte takes nothing", 0, 0, {Plain(10, "abc")}, "", 1},
        {"two bytes take a character's start", 0, 0, {Plain(11, "\xF0\x9F\x98\x80!")}, "\xF0\x9F<4>!", 2},
        {"behind the longest block nothing follows", 0, 0, {Plain(1, longest + '\xFC')}, longest + "\xFC\0\0\0\0\0"s},
        {"malformed packets set no start", 2, 0, malformed, ""},
        {nullptr, 2, 0, {Red(12, {"x", "z"})}, "z"},
        {nullptr, 2, 999, malformed, ""}, // nor do they lengthen a wait
        {nullptr,
         2,
         1000,
         {Red(20, {"c"})},
         "\xFD\xFF<7>"
         "c"},
    };
    std::optional<Receiver> receiver;
    for (const auto& step : steps) {
        if (step.claim != nullptr) {
            receiver.emplace(step.level);
        }
        manual_time::SetTick(START + step.ms);
        for (const Packet& packet : step.packets) {
            receiver->Put(packet);
        }
        std::string text;
        for (int call = 0; call < 1500; ++call) { // an empty block costs a call
            text += receiver->Next(step.size);
        }
        EXPECT_EQ(step.text, text) << &step - steps;
    }
}

TEST_F(T140CodecReceive, WithoutABufferOrAListNothingIsRead) {
    Receiver receiver(2);
    receiver.Put(Red(1, {"a"}));
    EXPECT_EQ(0, receiver.m_Codec.GetText(nullptr, 8));
    receiver.m_Codec.Delnit();
    EXPECT_EQ("", receiver.Next(8));
}

// The rules of playout once more, from scratch: what the codec must hand out, call by call.
class Model {
public:
    explicit Model(uint32_t level) : m_nLevel(level) {}

    void Put(const Packet& packet) { m_Waiting.push_back(packet); }

    std::string Next(uint32_t now, uint32_t size) {
        if (size >= 2 && m_nAt < m_Play.size()) {
            return Character(size);
        }
        while (!m_Waiting.empty() && IsDropped(m_Waiting.front())) {
            m_Waiting.pop_front();
        }
        if (m_Waiting.empty()) {
            return "";
        }
        const Packet packet = m_Waiting.front();
        if (m_nPlayed == 0) {
            m_nPlayed = packet.seq == 0 ? 0 : packet.seq - 1;
        } else if (packet.seq > m_nPlayed + m_nLevel + 1 && s_nLastLoad + 1000 > now) {
            return "";
        }
        s_nLastLoad = now;
        const uint32_t before = m_nPlayed;
        Load(packet);
        if (m_nPlayed == packet.seq) {
            m_Waiting.pop_front();
        }
        const uint32_t expected = before + m_nSkipped + 1;
        if (size < 2) {
            return "";
        }
        return m_nPlayed > expected ? Handed("\xFD\xFF", m_nPlayed - expected) : Character(size);
    }

private:
    bool HasBlocks(const Packet& packet) const { return packet.isRed && m_nLevel != 0; }

    // Compared around the wrap below zero with which a stream from number 0 may begin.
    bool IsDropped(const Packet& packet) const {
        const bool isOld = m_nPlayed != 0 && static_cast<int32_t>(packet.seq - m_nPlayed) <= 0;
        return HasBlocks(packet) && (isOld || ParseRed(packet.payload, 16).empty());
    }

    void Load(const Packet& packet) {
        std::string text(packet.payload.begin(), packet.payload.end());
        uint32_t played = packet.seq;
        if (HasBlocks(packet)) {
            const std::vector<RedBlock> blocks = ParseRed(packet.payload, 16);
            const uint32_t n = static_cast<uint32_t>(blocks.size()) - 1;
            const uint32_t gap = packet.seq - m_nPlayed;
            const uint32_t start = gap == 0 || n + 1 < gap ? 0 : n + 1 - gap;
            uint32_t k = start;
            while (start <= 14 && k < n && k < 15 && blocks[k].data.empty()) {
                ++k;
            }
            m_nSkipped = k - start;
            text = blocks[k].data;
            played = packet.seq - n + k;
        }
        m_nPlayed = played;
        m_Buffer.replace(0, text.size(), text);
        m_Play = text;
        m_nAt = 0;
    }

    // A character cut by the end of a block is completed from what the buffer holds behind it.
    std::string Character(size_t size) {
        if (m_nAt >= m_Play.size()) {
            return "";
        }
        const uint8_t firsts[] = {0xC0, 0xE0, 0xF0, 0xF8, 0xFC}; // lead bytes of 2 to 6
        const uint8_t lead = static_cast<uint8_t>(m_Play[m_nAt]);
        const size_t length = 1U + static_cast<size_t>(std::upper_bound(firsts, firsts + 5, lead) - firsts);
        m_nAt += length;
        return Handed(m_Buffer.substr(m_nAt - length, std::min(length, size)), length);
    }

    const uint32_t m_nLevel;
    uint32_t m_nPlayed = 0;
    uint32_t m_nSkipped = 0;
    std::string m_Buffer = std::string(1400, '\0');
    std::string m_Play;
    size_t m_nAt = 0;
    std::deque<Packet> m_Waiting;
    static inline uint32_t s_nLastLoad = 0; // of all receivers
};

uint32_t Below(uint32_t limit) {
    static std::mt19937 random{std::random_device()()};
    return random() % limit;
}

std::string Characters() {
    const std::string sizes = "a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80\xF8\xFC\x84"; // also cut and stray ones
    std::string text;
    for (uint32_t count = Below(4) * Below(2); count > 0; --count) {
        text += sizes.substr(Below(13), 1 + Below(4));
    }
    return text;
}

// What a sender of this level sends, after a network that loses, damages, repeats and delays.
std::deque<Packet> RandomStream(uint32_t level) {
    const uint32_t firsts[] = {0, 1, 1000, 65530};
    const uint32_t loss = Below(60); // percent
    uint32_t seq = firsts[Below(4)];
    std::vector<std::string> typed(Below(2) * level); // empty generations before there are real ones
    std::deque<Packet> packets;
    for (uint32_t count = 1 + Below(30); count > 0; --count, ++seq) {
        typed.push_back(Characters());
        const long blocks = std::min<long>(level + 1, static_cast<long>(typed.size()));
        const bool isRed = level > 0 && Below(20) != 0;
        Packet packet = isRed ? Red(seq, {typed.end() - blocks, typed.end()}) : Plain(seq, typed.back());
        if (Below(30) == 0) {
            packet.payload.resize(Below(static_cast<uint32_t>(packet.payload.size()) + 1));
        }
        packets.insert(packets.end(), Below(100) < loss ? 0 : Below(20) == 0 ? 2 : 1, packet);
        if (packets.size() > 1 && Below(10) == 0) {
            std::swap(packets.back(), *(packets.end() - 2));
        }
    }
    return packets;
}

TEST_F(T140CodecReceive, RandomCallsAreHandedOutAsTheModelSays) {
    const uint32_t levels[] = {0, 1, 2, 3, 5, 15, 18};
    struct Call {
        uint32_t sender, level;
        std::deque<Packet> packets = RandomStream(sender);
        Model model{level};
        Receiver receiver{level};
    };
    for (int round = 0; round < 2000 && !HasFailure(); ++round) {
        const uint32_t level = levels[Below(7)];
        Call calls[] = {{level, Below(10) < 7 ? level : levels[Below(7)]}, {1, 1}}; // the loads of one delay both
        for (int steps = 0; steps < 60 && !HasFailure(); ++steps) {
            Call& call = calls[Below(4) / 3];
            if (!call.packets.empty()) {
                call.model.Put(call.packets.front());
                call.receiver.Put(call.packets.front());
                call.packets.pop_front();
            }
            manual_time::Advance(Below(20) == 0 ? 1000 : Below(400));
            for (uint32_t pulls = Below(8); pulls > 0; --pulls) {
                const uint16_t size = static_cast<uint16_t>(Below(10) != 0 ? 100 : 1 + Below(6));
                ASSERT_EQ(call.model.Next(VRNGetTickCount(), size), call.receiver.Next(size)) << "round " << round;
            }
        }
    }
}

} // namespace
