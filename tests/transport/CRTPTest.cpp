#include "transport/CRTP.h"

#include "tests/support/UdpPeer.h"

#include <gtest/gtest.h>

namespace {

TEST(CRTP, AHeaderIsReadAndWrittenAsTwelveBytesWhateverItsFlagsSay) {
    const struct {
        uint32_t start; // version, P, X, CC; M, PT; sequence number
        std::vector<uint32_t> fields;
    } cases[] = {
        {0x80E2FFFE, {2, 0, 0, 0, 1, 98, 0xFFFE}},
        {0xAF630102, {2, 1, 0, 15, 0, 99, 0x0102}},
        {0x90000001, {2, 0, 1, 0, 0, 0, 1}},
        {0x71FFFFFF, {1, 1, 1, 1, 0, 0, 0}}, // of another version only the first byte is read
    };
    for (const auto& c : cases) {
        const Bytes bytes = Datagram().U32(c.start).U32(0x81020304).U32(0x9A6B5C4D).Text("abc");
        const bool isRead = c.fields[0] == 2;
        Bytes packet = bytes;
        VRN_RTPStruct_st record;
        EXPECT_EQ(-1, CRTP().ParseHeader(&record, packet.data())); // of 0 bytes
        record.m_nPacketLen = 15;
        EXPECT_EQ(isRead ? 1 : -1, CRTP().ParseHeader(&record, packet.data()));
        EXPECT_EQ(c.fields,
                  (std::vector<uint32_t>{record.m_nVersion, record.m_nPadding, record.m_nExtension, record.m_nCsrcCount,
                                         record.m_nMarker, record.m_nPayloadType, record.m_nSeqNum}));
        if (isRead) {
            EXPECT_EQ(packet.data() + 12, record.m_pPayload); // CSRC, extension and padding stay in it
            EXPECT_EQ(3U, record.m_nPayloadLen);
            std::fill_n(packet.begin(), 12, 0);
            CRTP().AttachHeader(&record);
            EXPECT_EQ(bytes, packet);
        }
    }
}

} // namespace
