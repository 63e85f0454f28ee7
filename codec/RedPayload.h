// The RED payload of text (RFC 2198 as RFC 4103 uses it): writing block headers, and finding the blocks of a received
// payload. Pure functions of bytes.
//
//   4 bytes a generation, the oldest first        1 byte        then
//   F=1 | PT:7 | timestamp offset:14 | length:10  F=0 | PT:7    the blocks' data in the same order, the primary last
#ifndef CODEC_RED_PAYLOAD_H
#define CODEC_RED_PAYLOAD_H

#include "util/ByteReader.h"

#include <cstddef>
#include <cstdint>

constexpr size_t RED_BLOCK_HEADER_SIZE = 4;
constexpr size_t RED_PRIMARY_HEADER_SIZE = 1;

// No more redundant blocks than this are read from one payload.
constexpr uint32_t RED_MAX_REDUNDANT_BLOCKS = 16;

// The first timestamp offset that 14 bits cannot hold.
constexpr uint32_t RED_OFFSET_LIMIT = 16384;

// Writes one redundant block header. The length is not masked to its 10 bits: a payload with a block that long is
// never sent.
void RedWriteBlockHeader(ByteWriter& writer, uint8_t payloadType, uint32_t timestampOffset, uint32_t length);

// One block header as read. For the primary one only the first two fields are set.
struct RedBlockHeader {
    bool m_bRedundant = false; // the F bit
    uint8_t m_nPayloadType = 0;
    uint32_t m_nTimestampOffset = 0;
    uint32_t m_nLength = 0;
};

// Reads one block header; false when the bytes end within it.
bool RedReadBlockHeader(ByteReader& reader, RedBlockHeader& header);

// Where the blocks of a payload lie. Block 0 is the oldest generation, block m_nRedundant the primary.
struct RedBlocks {
    uint32_t m_nRedundant = 0;                             // redundant headers read
    uint32_t m_nHeaders = 0;                               // headers read: one more, or as many without a primary
    uint32_t m_nHeaderBytes = 0;                           // all headers
    uint32_t m_nRedundantBytes = 0;                        // data of all redundant blocks
    uint32_t m_nLength[RED_MAX_REDUNDANT_BLOCKS + 1] = {}; // the primary's stays 0 where it has no header
    RedBlockHeader m_Header[RED_MAX_REDUNDANT_BLOCKS + 1];
};

// Finds the blocks. False, with `blocks` unfinished, when headers or blocks do not fit into the payload. After 16
// redundant headers no further header is read, and the payload has no primary block.
bool RedFindBlocks(const uint8_t* payload, size_t length, RedBlocks& blocks);

#endif
