#include "codec/RedPayload.h"

#include "tests/support/UdpPeer.h"

#include <gtest/gtest.h>

namespace {

// What a payload is made of is tested with the codec, which sends and plays it.
TEST(RedPayload, ABlockHeaderHasFourteenBitsOfOffsetAndTenOfLength) {
    const struct {
        uint8_t payloadType;
        uint32_t offset, length;
        Bytes bytes;
    } cases[] = {
        {98, 600, 0, {0xE2, 0x09, 0x60, 0x00}},        // 600 = 9 * 64 + 24
        {0, 0, 1023, {0x80, 0x00, 0x03, 0xFF}},        // the longest block
        {127, 16383, 513, {0xFF, 0xFF, 0xFE, 0x01}},   // the widest offset; 513 = 2 * 256 + 1
        {96, 8192 + 63, 256, {0xE0, 0x80, 0xFD, 0x00}} // both sides of the shared byte
    };
    for (const auto& c : cases) {
        Bytes written(4);
        ByteWriter writer(written.data(), written.size());
        RedWriteBlockHeader(writer, c.payloadType, c.offset, c.length);
        EXPECT_EQ(c.bytes, written);
        ByteReader reader(c.bytes.data(), c.bytes.size());
        RedBlockHeader header;
        ASSERT_TRUE(RedReadBlockHeader(reader, header));
        EXPECT_EQ(c.payloadType, header.m_nPayloadType);
        EXPECT_EQ(c.offset, header.m_nTimestampOffset);
        EXPECT_EQ(c.length, header.m_nLength);
    }
}

} // namespace
