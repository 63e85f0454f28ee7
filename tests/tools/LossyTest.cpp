#include "lossy/LossPattern.h"
#include "lossy/StreamLedger.h"

#include <gtest/gtest.h>

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

TEST(LossPattern, LosesItsShareOfEveryStreamAndNotTheSamePackets) {
    constexpr uint32_t packets = 20000;
    const LossPattern pattern(4, 20);
    unsigned lost[DIRECTION_COUNT][PACKET_KIND_COUNT] = {};
    unsigned lostInBoth = 0;
    for (uint32_t number = 0; number < packets; ++number) {
        for (const Direction direction : {LEFT_TO_RIGHT, RIGHT_TO_LEFT}) {
            for (const PacketKind kind : {RTP, RTCP}) {
                lost[direction][kind] += pattern.Loses({direction, kind, number});
            }
        }
        lostInBoth += pattern.Loses({LEFT_TO_RIGHT, RTP, number}) && pattern.Loses({RIGHT_TO_LEFT, RTP, number});
    }
    for (const auto& direction : lost) {
        for (const unsigned count : direction) {
            EXPECT_NEAR(count, packets * 0.2, packets * 0.02);
        }
    }
    EXPECT_NEAR(lostInBoth, packets * 0.04, packets * 0.01);
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
