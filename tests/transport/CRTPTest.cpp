#include "transport/CRTP.h"

#include "tests/support/LogCapture.h"
#include "tests/support/UdpPeer.h"

#include <gtest/gtest.h>

namespace {

TEST(CRTP, TheHeaderIsTwelveBytesWhateverTheFlagsSay) {
    Bytes packet(16, 0xEE);
    VRN_RTPStruct_st record;
    record.m_nVersion = 2;
    record.m_nMarker = 1;
    record.m_nPayloadType = 98;
    record.m_nSeqNum = 0xFFFE;
    record.m_nTimestamp = 0x01020304;
    record.m_nSSRC = 0x7A6B5C4D;
    record.m_nPayloadLen = 3;
    record.m_pPacket = packet.data();
    CRTP().AttachHeader(&record);
    EXPECT_EQ(static_cast<const Bytes&>(Datagram()
                                            .U8(0x80)          // version 2, no padding, extension or CSRC
                                            .U8(0xE2)          // marker, payload type 98
                                            .U16(0xFFFE)       // sequence number
                                            .U32(0x01020304)   // timestamp
                                            .U32(0x7A6B5C4D)   // SSRC
                                            .U32(0xEEEEEEEE)), // untouched
              packet);
    EXPECT_EQ(15U, record.m_nPacketLen);
    record.m_nPadding = 1;
    record.m_nExtension = 1;
    record.m_nCsrcCount = 15;
    record.m_nMarker = 0;
    CRTP().AttachHeader(&record);
    EXPECT_EQ((Bytes{0xBF, 0x62}), Bytes(packet.begin(), packet.begin() + 2));
    EXPECT_EQ(0xEE, packet[12]);
    EXPECT_EQ(15U, record.m_nPacketLen);
}

TEST(CRTP, CsrcExtensionAndPaddingStayInThePayload) {
    Bytes packet = Datagram()
                       .U8(0xB2)        // version 2, padding, extension, 2 CSRC
                       .U8(0x80 | 99)   // marker, payload type
                       .U16(0x0102)     // sequence number
                       .U32(0x80000001) // timestamp
                       .U32(0xDEADBEEF) // SSRC
                       .U32(1)
                       .U32(2) // CSRC list
                       .Text("t");
    VRN_RTPStruct_st record;
    record.m_nPacketLen = static_cast<uint32_t>(packet.size());
    ASSERT_EQ(1, CRTP().ParseHeader(&record, packet.data()));
    EXPECT_EQ((std::vector<uint32_t>{2, 1, 1, 2, 1, 99, 0x0102, 0x80000001, 0xDEADBEEF, 12, 9}),
              (std::vector<uint32_t>{record.m_nVersion, record.m_nPadding, record.m_nExtension, record.m_nCsrcCount,
                                     record.m_nMarker, record.m_nPayloadType, record.m_nSeqNum, record.m_nTimestamp,
                                     record.m_nSSRC, record.m_nHeaderLen, record.m_nPayloadLen}));
    EXPECT_EQ(packet.data(), record.m_pPacket);
    EXPECT_EQ(packet.data() + 12, record.m_pPayload);
}

TEST(CRTP, AnotherVersionStoresTheFirstByteOnlyAndAShortPacketNothing) {
    VRN_RTPStruct_st record;
    record.m_nPayloadType = 42;
    record.m_nSeqNum = 7;
    record.m_nPayloadLen = 5;
    Bytes packet = Datagram().U8(0x61).U8(0xE2).U16(9).U32(1).U32(2);
    record.m_nPacketLen = 12;
    LogCapture log;
    EXPECT_EQ(-1, CRTP().ParseHeader(&record, packet.data()));
    EXPECT_EQ((std::vector<std::string>{"CRTP::ParseHeader(): Invalid RTP Version:1"}), log.Lines());
    const auto fields = [&record] {
        return std::vector<uint32_t>{record.m_nVersion,     record.m_nPadding, record.m_nCsrcCount,
                                     record.m_nPayloadType, record.m_nSeqNum,  record.m_nPayloadLen};
    };
    EXPECT_EQ((std::vector<uint32_t>{1, 1, 1, 42, 7, 5}), fields());
    packet.resize(11);
    packet.shrink_to_fit();
    packet[0] = 0x80;
    record.m_nPacketLen = 11;
    EXPECT_EQ(-1, CRTP().ParseHeader(&record, packet.data()));
    EXPECT_EQ((std::vector<uint32_t>{1, 1, 1, 42, 7, 5}), fields());
}

} // namespace
