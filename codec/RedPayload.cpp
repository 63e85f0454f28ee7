#include "codec/RedPayload.h"

namespace {
constexpr uint8_t F_BIT = 0x80;
constexpr uint8_t PAYLOAD_TYPE_BITS = 0x7F;
constexpr uint32_t LENGTH_HIGH_BITS = 0x03;
} // namespace

// RFC 2198, 3:
//
//   byte 0  F (bit 7) = 1, block payload type (6-0)
//   byte 1  timestamp offset, bits 13-6
//   byte 2  timestamp offset, bits 5-0 (bits 7-2), block length, bits 9-8 (bits 1-0)
//   byte 3  block length, bits 7-0
void RedWriteBlockHeader(ByteWriter& writer, uint8_t payloadType, uint32_t timestampOffset, uint32_t length) {
    writer.U8(F_BIT | payloadType);
    writer.U8(timestampOffset >> 6);
    writer.U8((timestampOffset << 2) | (length >> 8));
    writer.U8(length);
}

bool RedReadBlockHeader(ByteReader& reader, RedBlockHeader& header) {
    const uint8_t first = reader.U8();
    header.m_bRedundant = (first & F_BIT) != 0;
    header.m_nPayloadType = first & PAYLOAD_TYPE_BITS;
    if (header.m_bRedundant) {
        const uint32_t offsetHigh = reader.U8();
        const uint32_t shared = reader.U8();
        header.m_nTimestampOffset = offsetHigh << 6 | shared >> 2;
        header.m_nLength = (shared & LENGTH_HIGH_BITS) << 8 | reader.U8();
    }
    return reader.Ok();
}

bool RedFindBlocks(const uint8_t* payload, size_t length, RedBlocks& blocks) {
    ByteReader reader(payload, length);
    bool hasPrimary = false;
    while (!hasPrimary && blocks.m_nRedundant < RED_MAX_REDUNDANT_BLOCKS) {
        RedBlockHeader& header = blocks.m_Header[blocks.m_nRedundant];
        if (!RedReadBlockHeader(reader, header)) {
            return false;
        }
        ++blocks.m_nHeaders;
        if (header.m_bRedundant) {
            blocks.m_nLength[blocks.m_nRedundant++] = header.m_nLength;
            blocks.m_nRedundantBytes += header.m_nLength;
        } else {
            hasPrimary = true;
        }
    }
    blocks.m_nHeaderBytes = static_cast<uint32_t>(length - reader.Left());
    if (!reader.Skip(blocks.m_nRedundantBytes)) {
        return false;
    }
    if (hasPrimary) {
        blocks.m_nLength[blocks.m_nRedundant] = static_cast<uint32_t>(reader.Left());
    }
    return true;
}
