#include "transport/CTextTransportManager.h"

#include "tests/support/TransportFixture.h"

namespace {

constexpr uint32_t FAR_SSRC = 0xA0A1A2A3;
constexpr uint32_t OTHER_SSRC = 0xB0B1B2B3;

Bytes Packet(uint32_t seq, const std::string& text, uint32_t ssrc = FAR_SSRC, uint32_t payloadType = RECV_T140) {
    return Datagram().RtpHeader(false, payloadType, seq, 0, ssrc).Text(text);
}

class CTextTransportManagerReceive : public TransportFixture {
protected:
    void Start() {
        m_pTransport->SetDirection(VRN_CHANNEL_RECVONLY);
        ASSERT_EQ(1, m_pTransport->StartTransport());
        ASSERT_EQ(1, m_pTransport->StartReceive());
    }

    // True when the transport queued the packet.
    bool Accepts(const Bytes& packet) {
        m_Log.Clear();
        Deliver(packet);
        return m_Log.Has("CTextTransportManager::ProcessRecvdRTP(): :Exit");
    }

    // What the next receiver report says.
    uint32_t HighestSeqNum() { return Field(Report(), 16); }
    uint32_t CumulativeLost() { return Field(Report(), 12) & 0xFFFFFF; }

private:
    static uint32_t Field(const Bytes& report, size_t at) {
        return static_cast<uint32_t>(report.at(at) << 24 | report.at(at + 1) << 16 | report.at(at + 2) << 8 |
                                     report.at(at + 3));
    }
};

TEST_F(CTextTransportManagerReceive, NumbersAreExtendedByTheWrapRuleAndOldOnesDropped) {
    const struct {
        uint32_t first, second;
        bool accepted;
        uint32_t highest;
    } cases[] = {
        {10, 11, true, 11},       {10, 10, false, 10},         {10, 9, false, 10},        {10, 60000, true, 60000},
        {65535, 0, true, 65536},  {65501, 29, true, 65565},    {65501, 30, false, 65501}, {65500, 29, false, 65500},
        {65500, 5, false, 65500}, {65500, 65501, true, 65501}, {0, 0, true, 0}, // nothing above 0 was appended yet
        {0, 1, true, 1},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(std::to_string(c.first) + ", " + std::to_string(c.second));
        Renew();
        Start();
        EXPECT_TRUE(Accepts(Packet(c.first, "a")));
        EXPECT_EQ(c.accepted, Accepts(Packet(c.second, "b")));
        EXPECT_EQ(c.highest, HighestSeqNum());
    }
}

TEST_F(CTextTransportManagerReceive, ADroppedPacketCountsAWrapAllTheSame) {
    Start();
    EXPECT_TRUE(Accepts(Packet(65510, "a")));
    EXPECT_FALSE(Accepts(Packet(5, "x", OTHER_SSRC)));
    EXPECT_EQ(65541U, HighestSeqNum());
    EXPECT_TRUE(Accepts(Packet(65511, "b"))); // now in the next cycle
    EXPECT_EQ(65536U + 65511U, HighestSeqNum());
    EXPECT_TRUE(Accepts(Packet(3, "c")));
    EXPECT_EQ(2 * 65536U + 3U, HighestSeqNum());
    // Another payload type changes nothing.
    EXPECT_TRUE(Accepts(Packet(65520, "d")));
    EXPECT_FALSE(Accepts(Packet(4, "x", FAR_SSRC, SEND_T140)));
    EXPECT_TRUE(Accepts(Packet(65521, "e")));
    EXPECT_EQ(2 * 65536U + 65521U, HighestSeqNum());
}

TEST_F(CTextTransportManagerReceive, TheFifthForeignPacketInARowBringsItsSenderIn) {
    const char* const line = "CTextTransportManager::ProcessRecvdRTP(): Different SSRC received";
    Start();
    EXPECT_TRUE(Accepts(Packet(1, "a")));
    uint32_t seq = 2;
    for (int round = 0; round < 3; ++round) { // three of another sender, then one of the first: from the start again
        for (int foreign = 0; foreign < 3; ++foreign) {
            EXPECT_FALSE(Accepts(Packet(seq++, "x", OTHER_SSRC)));
            EXPECT_TRUE(m_Log.Has(line));
        }
        EXPECT_TRUE(Accepts(Packet(seq++, "b")));
    }
    for (uint32_t foreign = 0; foreign < 4; ++foreign) { // of any senders
        EXPECT_FALSE(Accepts(Packet(seq++, "x", OTHER_SSRC + foreign % 2)));
        EXPECT_TRUE(m_Log.Has(line));
    }
    EXPECT_TRUE(Accepts(Packet(seq++, "c", OTHER_SSRC)));
    EXPECT_FALSE(m_Log.Has(line));
    EXPECT_TRUE(Accepts(Packet(seq++, "d", OTHER_SSRC)));
    EXPECT_FALSE(Accepts(Packet(seq++, "x")));
}

TEST_F(CTextTransportManagerReceive, TheRedPayloadTypeMarksRedundantPackets) {
    Configure(2);
    Start();
    const Bytes red = Datagram().RedHeader(SEND_T140, 300, 1).U8(SEND_T140).Text("ab");
    const std::string payload(red.begin(), red.end());
    EXPECT_TRUE(Accepts(Packet(1, payload, FAR_SSRC, RECV_RED)));
    EXPECT_EQ("b", Text());
    EXPECT_TRUE(Accepts(Packet(3, payload, FAR_SSRC, RECV_RED)));
    EXPECT_EQ("ab", Text());
    EXPECT_FALSE(Accepts(Packet(3, payload, FAR_SSRC, RECV_RED)));
    EXPECT_FALSE(Accepts(Packet(2, payload, FAR_SSRC, RECV_RED)));
    EXPECT_TRUE(Accepts(Packet(4, "c")));
    EXPECT_EQ("c", Text());
    EXPECT_EQ(1U, CumulativeLost()); // restored text is a lost packet all the same
}

TEST_F(CTextTransportManagerReceive, APacketOfAnotherVersionHasItsOwnPayloadUnderOldFields) {
    Start();
    EXPECT_TRUE(Accepts(Packet(0, "abc")));
    Bytes foreign = Packet(500, "d", OTHER_SSRC, SEND_T140); // of which only the payload counts
    foreign[0] = 0x40;
    EXPECT_TRUE(Accepts(foreign));
    EXPECT_TRUE(m_Log.Has("CRTP::ParseHeader(): Invalid RTP Version:1"));
    EXPECT_TRUE(m_Log.Has("Recvd PT:98, Seq.no:0, PrevSeqNum:0, PrevExtSeqNum:0, len:1"));
    EXPECT_EQ("abcd", Text());
    EXPECT_TRUE(Accepts(Packet(7, "e")));
    EXPECT_FALSE(Accepts(foreign)); // 7 again: old
    EXPECT_EQ("e", Text());
}

TEST_F(CTextTransportManagerReceive, LessThanAHeaderIsNotLookedAt) {
    Start();
    for (size_t size : {0U, 1U, 11U}) {
        EXPECT_FALSE(Accepts(Bytes(size, 0x80)));
        EXPECT_FALSE(m_Log.Has("RTT RX"));
    }
    EXPECT_TRUE(Accepts(Packet(1, "")));
    EXPECT_TRUE(Accepts(Packet(2, "a")));
    EXPECT_EQ("", Text());
    EXPECT_EQ("a", Text());
    m_pTransport->ProcessRecvdRTP(); // nothing waits, and it does not wait either
}

TEST_F(CTextTransportManagerReceive, PacketsOfAHoldAreReadWhenReceivingGoesOn) {
    Start();
    EXPECT_TRUE(Accepts(Packet(1, "a")));
    EXPECT_EQ("a", Text());
    EXPECT_EQ(1, m_pTransport->StopReceive());
    EXPECT_FALSE(Accepts(Packet(9, "b")));
    EXPECT_FALSE(m_Log.Has("Socket Recv"));
    EXPECT_EQ(1, m_pTransport->StartReceive());
    m_pTransport->ProcessRecvdRTP();
    EXPECT_EQ("b", Text()); // as the first packet: no mark for 2 to 8
}

TEST_F(CTextTransportManagerReceive, ARestartKeepsTheFilter) {
    Start();
    EXPECT_TRUE(Accepts(Packet(1000, "a")));
    m_pTransport->StopTransport();
    Start();
    EXPECT_FALSE(Accepts(Packet(1, "x")));
    EXPECT_FALSE(Accepts(Packet(1000, "x")));
    EXPECT_FALSE(Accepts(Packet(1001, "x", OTHER_SSRC)));
    EXPECT_TRUE(Accepts(Packet(1001, "b")));
    EXPECT_EQ("b", Text());
}

TEST_F(CTextTransportManagerReceive, OneMebibyteWaitsAndWhatIsPlayedMakesRoom) {
    VRNlogLevel = 0;
    Start();
    const std::string longest(1400, 't');
    for (uint32_t seq = 1; seq <= 800; ++seq) {
        Deliver(Packet(seq, longest));
    }
    const uint32_t accepted = HighestSeqNum();
    EXPECT_GE(1024U * 1024 / 1400, accepted);
    EXPECT_LE(1024U * 1024 / 1500, accepted);
    EXPECT_EQ(0U, CumulativeLost()); // as if lost on the way, and the way has not ended yet
    unsigned char out[8];
    EXPECT_EQ(1, m_pTransport->GetTextForDisp(out, sizeof(out))); // takes the first packet out
    Deliver(Packet(801, longest));
    EXPECT_EQ(801U, HighestSeqNum());
    EXPECT_EQ(800U - accepted, CumulativeLost());
    Deliver(Packet(802, longest));
    EXPECT_EQ(801U, HighestSeqNum());
    m_pTransport->StopTransport();
    Start();
    Deliver(Packet(803, "b")); // the stop freed it all
    VRNlogLevel = 4;
    EXPECT_EQ("b", Text());
}

} // namespace
