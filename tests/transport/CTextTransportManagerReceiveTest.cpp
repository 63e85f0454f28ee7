#include "tests/support/TransportFixture.h"
#include "util/VRNLog.h"

#include <sstream>

namespace {

constexpr uint32_t FAR = 0xA0A1A2A3;
constexpr uint32_t OTHER = 0xB0B1B2B3;

Bytes Packet(uint32_t seq, const std::string& text, uint32_t ssrc = FAR, uint32_t payloadType = RECV_T140) {
    return Datagram().RtpHeader(false, payloadType, seq, 0, ssrc).Text(text);
}

class CTextTransportManagerReceive : public TransportFixture {
protected:
    CTextTransportManagerReceive() { m_pTransport->SetDirection(VRN_CHANNEL_RECVONLY); }

    // Whether the transport queued the packet.
    bool Accepts(const Bytes& packet) {
        m_Log.Clear();
        Deliver(packet, m_nPort);
        return m_Log.Has("CTextTransportManager::ProcessRecvdRTP(): :Exit");
    }
};

// The part of a receiver report from byte 13 to 20.
Bytes Loss(uint32_t lost, uint32_t highest) {
    return Datagram().U8(lost >> 16).U16(lost).U32(highest);
}

TEST_F(CTextTransportManagerReceive, PacketsAreFilteredByNumberPayloadTypeAndSender) {
    // Each arrival: its number, then + for accepted or - for dropped, then o or p for two other senders, r for RED or
    // t for another payload type.
    const struct {
        const char* arrivals;
        uint32_t highest; // extended
    } cases[] = {
        {"10+ 11+ 11- 10- 60000+", 60000},
        {"65501+ 29+", 65536 + 29}, // a wrap
        {"65501+ 30-", 65501},      // and none: too far
        {"65500+ 29- 65501+", 65501},
        {"0+ 0+ 1+", 1}, // kept: 0 is no number to be behind
        {"1+ 2-t 3+r", 3},
        {"65510+ 5-o 65511+", 65536 + 65511}, // a dropped packet counts a wrap
        {"65510+ 5-ot 65511+", 65511},        // but not one of another type
        {"1+ 2-o 3+ 4-o 5-o 6-o 7-o 8+", 8},  // never more than four others in a row
        {"1+ 2-o 3-p 4-o 5-o 6+o 7+o 8-", 8}, // the fifth brings its sender in
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.arrivals);
        Renew();
        m_pTransport->SetDirection(VRN_CHANNEL_RECVONLY);
        Start();
        std::istringstream arrivals(c.arrivals);
        std::string how;
        for (uint32_t seq = 0; arrivals >> seq >> how;) {
            const auto has = [&how](char letter) { return how.find(letter) != std::string::npos; };
            const uint32_t payloadType = has('t') ? SEND_T140 : has('r') ? RECV_RED : RECV_T140;
            EXPECT_EQ(has('+'), Accepts(Packet(seq, "a", has('o') ? OTHER : has('p') ? OTHER + 1 : FAR, payloadType)));
        }
        EXPECT_EQ(static_cast<const Bytes&>(Datagram().U32(c.highest)), Report(16, 20));
    }
}

TEST_F(CTextTransportManagerReceive, APacketOfAnotherVersionHasItsOwnPayloadUnderOldFields) {
    Start();
    EXPECT_TRUE(Accepts(Packet(0, "abc")));
    Bytes foreign = Packet(500, "d", OTHER, SEND_T140); // of which only the payload counts
    foreign[0] = 0x40;
    EXPECT_TRUE(Accepts(foreign));
    EXPECT_EQ("abcd", Text());
    for (size_t size : {0U, 1U, 11U}) { // less than a header
        EXPECT_FALSE(Accepts(Bytes(size, 0x80)));
        EXPECT_FALSE(m_Log.Has("RTT RX"));
    }
    m_pTransport->ProcessRecvdRTP(); // nothing waits, and it does not wait either
}

TEST_F(CTextTransportManagerReceive, RedIsRestoredAHoldLosesNothingAndARestartKeepsTheFilter) {
    Configure(2, m_sIp);
    Start();
    EXPECT_TRUE(Accepts(Packet(1000, "a")));
    const Datagram header = Datagram().RtpHeader(false, RECV_RED, 1002, 0, FAR);
    EXPECT_TRUE(Accepts(Datagram(header).RedHeader(SEND_T140, 300, 1).U8(SEND_T140).Text("bc")));
    EXPECT_EQ("abc", Text());
    EXPECT_EQ(Loss(1, 1002), Report(13, 20)); // restored text is a lost packet all the same
    EXPECT_EQ(1, m_pTransport->StopReceive());
    EXPECT_FALSE(Accepts(Packet(1009, "d")));
    EXPECT_EQ(1, m_pTransport->StartReceive());
    m_pTransport->ProcessRecvdRTP();
    EXPECT_EQ("d", Text()); // as the first packet: no mark for those between
    Start();
    EXPECT_FALSE(Accepts(Packet(1009, "x")));
    EXPECT_FALSE(Accepts(Packet(1010, "x", OTHER)));
    EXPECT_TRUE(Accepts(Packet(1010, "e")));
}

TEST_F(CTextTransportManagerReceive, OneMebibyteWaitsAndWhatIsPlayedMakesRoom) {
    VRNlogLevel = 0;
    Start();
    const std::string longest(1400, 't');
    for (uint32_t seq = 1; seq <= 800; ++seq) {
        Deliver(Packet(seq, longest), m_nPort);
    }
    const Bytes full = Report(13, 20);
    const uint32_t accepted = full[5] * 256U + full[6];
    EXPECT_EQ(Loss(0, accepted), full); // as if lost on the way, and the way has not ended yet
    EXPECT_GE(1024U * 1024 / 1400, accepted);
    EXPECT_LE(1024U * 1024 / 1500, accepted);
    uint8_t out[8];
    EXPECT_EQ(1, m_pTransport->GetTextForDisp(out, sizeof(out))); // takes the first packet out
    Deliver(Packet(801, longest), m_nPort);
    Deliver(Packet(802, longest), m_nPort);
    EXPECT_EQ(Loss(800 - accepted, 801), Report(13, 20));
    Start(); // frees it all
    Deliver(Packet(803, "b"), m_nPort);
    VRNlogLevel = 4;
    EXPECT_EQ("b", Text());
}

} // namespace
