#include "lossy/LossPattern.h"
#include "lossy/PcapFile.h"
#include "lossy/StreamLedger.h"

#include <gtest/gtest.h>
#include <set>

namespace {

constexpr unsigned RED = 100;

const std::vector<uint8_t> RED_PACKET = {
    0x80, 0xE4,             // version 2; marker, payload type 100
    0x00, 0x05,             // sequence number
    0x00, 0x00, 0x07, 0xD0, // timestamp
    0x12, 0x34, 0x56, 0x78, // SSRC
    0xE2, 0x09, 0x60, 0x02, // an earlier block: type 98, 600 ms ago, 2 bytes
    0xE2, 0x04, 0xB0, 0x00, // an earlier block: type 98, 300 ms ago, empty
    0x62,                   // the primary: type 98
    'a',  'b',              // the earliest text
    'c',                    // the primary
};

RtpPacket Packet(uint16_t number, std::vector<std::string> generations, uint32_t ssrc = 7) {
    RtpPacket packet;
    packet.sequenceNumber = number;
    packet.ssrc = ssrc;
    packet.generations = std::move(generations);
    return packet;
}

} // namespace

TEST(RtpPacket, TextsComeOutOldestFirst) {
    RtpPacket packet;
    ASSERT_TRUE(RtpPacket::Parse(RED_PACKET.data(), RED_PACKET.size(), RED, packet));
    EXPECT_EQ(packet.sequenceNumber, 5);
    EXPECT_EQ(packet.ssrc, 0x12345678U);
    EXPECT_EQ(packet.generations, (std::vector<std::string>{"ab", "", "c"}));
    ASSERT_TRUE(RtpPacket::Parse(RED_PACKET.data(), RED_PACKET.size(), 99, packet));
    EXPECT_EQ(packet.Primary().size(), 12U) << "not RED by its payload type: one text";
}

TEST(RtpPacket, CutPacketsAreRefusedUnlessOnlyThePrimaryIsCut) {
    const size_t withoutPrimary = RED_PACKET.size() - 1;
    for (size_t length = 0; length < RED_PACKET.size(); ++length) {
        const std::vector<uint8_t> cut(RED_PACKET.begin(), RED_PACKET.begin() + static_cast<long>(length));
        RtpPacket packet;
        EXPECT_EQ(RtpPacket::Parse(cut.data(), cut.size(), RED, packet), length >= withoutPrimary) << length;
    }
}

TEST(RtpPacket, OnlyThePacketThatClosesABurstIsItsLastRepeat) {
    EXPECT_TRUE(Packet(1, {"a", "", ""}).IsLastRepeat());
    EXPECT_TRUE(Packet(1, {"a", ""}).IsLastRepeat());
    EXPECT_TRUE(Packet(1, {""}).IsLastRepeat()) << "plain T.140";
    EXPECT_FALSE(Packet(1, {"", "a", ""}).IsLastRepeat()) << "another one follows";
    EXPECT_FALSE(Packet(1, {"", "", "a"}).IsLastRepeat());
    EXPECT_FALSE(Packet(1, {"a"}).IsLastRepeat());
}

TEST(LossPattern, LosesItsShareOfEveryStreamInRunsAsLongAsSaidAndNotTheSamePackets) {
    constexpr uint32_t packets = 100000;
    for (const double burst : {1.25, 4.0}) { // 1.25: what chance makes of 20 percent
        const LossPattern pattern(LinkConditions{20, burst, 0, 0, 0, 0, 4});
        for (PacketId packet : {PacketId{LEFT_TO_RIGHT, RTP, 0}, {LEFT_TO_RIGHT, RTCP, 0}, {RIGHT_TO_LEFT, RTCP, 0}}) {
            double lost = 0;
            unsigned lostInBoth = 0;
            unsigned runs = 0;
            for (bool last = false; packet.number < packets; ++packet.number) {
                const bool isLost = pattern.Loses(packet);
                lost += isLost;
                lostInBoth += isLost && pattern.Loses({RIGHT_TO_LEFT, RTP, packet.number});
                runs += isLost && !last;
                last = isLost;
            }
            EXPECT_NEAR(lost, packets * 0.2, packets * 0.02);
            EXPECT_NEAR(lostInBoth, packets * 0.04, packets * 0.01);
            EXPECT_NEAR(lost / runs, burst, burst * 0.1);
        }
    }
}

TEST(LossPattern, PacketsComeTwiceAndAreHeldBackAsOftenAsSaid) {
    const LossPattern pattern(LinkConditions{0, 1, 10, 30, 100, 50, 4});
    std::multiset<unsigned> arrivals; // delays
    for (uint32_t number = 0; number < 20000; ++number) {
        for (const unsigned delay : pattern.ArrivalDelays({RIGHT_TO_LEFT, RTP, number})) {
            arrivals.insert(delay);
        }
    }
    const auto heldBack = arrivals.upper_bound(150);
    EXPECT_NEAR(static_cast<double>(arrivals.size()), 22000, 300);
    EXPECT_NEAR(static_cast<double>(std::distance(heldBack, arrivals.end())), 6600, 300);
    EXPECT_EQ(*arrivals.begin(), 100U);
    EXPECT_NEAR(*heldBack, 450, 2) << "the least that is held back";
}

TEST(PcapFile, DatagramsGetTheirIpAndUdpHeaders) {
    const WireBytes ipv4 = {0x45, 0,    0,    29,   0, 0, 0x40, 0,    64, 17,
                            0x3C, 0xCE, 127,  0,    0, 1, 127,  0,    0,  1, // IPv4
                            0x13, 0x8C, 0x1B, 0x5C, 0, 9, 0x71, 0xF1, 'a'};  // UDP
    EXPECT_EQ(UdpInIp({"127.0.0.1", 5004}, {"127.0.0.1", 7004}, {'a'}), ipv4);
    const WireBytes ipv6 = UdpInIp({"::1", 5004}, {"::1", 7004}, {0xD0, 0xF0});
    EXPECT_EQ(WireBytes(ipv6.end() - 4, ipv6.end() - 2), (WireBytes{0xFF, 0xFF})) << "0 would mean no checksum";
}

TEST(StreamLedger, WhatLaterPacketsRepeatIsNotLost) {
    StreamLedger ledger;
    LostForGood lost;
    ledger.Enter(Packet(1, {"", "", "a"}), true, lost);
    ledger.Enter(Packet(2, {"", "a", "b"}), false, lost);
    ledger.Enter(Packet(3, {"a", "b", "c"}), false, lost);
    ledger.Enter(Packet(4, {"b", "c", ""}), true, lost);
    EXPECT_EQ(lost.packets, 0U);
    EXPECT_EQ(ledger.Restored(), 2U);
    EXPECT_EQ(ledger.Dropped(), 2U);
    EXPECT_EQ(ledger.Relayed(), 2U);
}

TEST(StreamLedger, WhatNoPacketRepeatsIsLostWithItsTextAcrossTheWrapOfNumbers) {
    StreamLedger ledger;
    LostForGood lost;
    ledger.Enter(Packet(65533, {"", "", "a"}), true, lost);
    ledger.Enter(Packet(65534, {"", "a", "b"}), false, lost);
    ledger.Enter(Packet(65535, {"a", "b", "c"}), false, lost);
    ledger.Enter(Packet(0, {"b", "c", "d"}), false, lost);
    ledger.Enter(Packet(1, {"c", "d", "e"}), false, lost);
    ledger.Enter(Packet(2, {"d", "e", "f"}), true, lost);
    EXPECT_EQ(lost.firstNumber, 65534U);
    EXPECT_EQ(lost.packets, 2U);
    EXPECT_EQ(lost.text, "bc");
    EXPECT_EQ(ledger.Restored(), 2U);
    EXPECT_TRUE(ledger.IsFirst(Packet(3, {"g"}, 8))) << "another SSRC";
    EXPECT_FALSE(ledger.IsFirst(Packet(3, {"g"})));
}
