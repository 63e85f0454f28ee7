// The fixed RTP header (RFC 3550, 5.1): writing and reading it.
#ifndef TRANSPORT_CRTP_H
#define TRANSPORT_CRTP_H

#include <cstdint>

constexpr uint8_t RTP_VERSION = 2;
constexpr uint32_t RTP_HEADER_SIZE = 12;

// One direction of an RTP stream: the header fields of its current packet and its counts. Owns neither buffer.
struct VRN_RTPStruct_st {
    uint8_t m_nVersion = 0;
    uint8_t m_nPadding = 0;     // P, 0 or 1
    uint8_t m_nExtension = 0;   // X, 0 or 1
    uint32_t m_nCsrcCount = 0;  // CC, 0 to 15
    uint8_t m_nMarker = 0;      // M, 0 or 1
    uint8_t m_nPayloadType = 0; // PT, 0 to 127
    uint16_t m_nSeqNum = 0;     // of the current packet
    uint32_t m_nExtSeqNum = 0;  // receiving: with the wrap count in the high 16 bits
    uint32_t m_nTimestamp = 0;  // milliseconds
    uint32_t m_nSSRC = 0;
    uint8_t* m_pPayload = nullptr; // receiving: within the packet
    uint8_t* m_pPacket = nullptr;  // where the header is written or was read
    uint32_t m_nPayloadLen = 0;    // bytes
    uint32_t m_nPacketLen = 0;     // bytes, header included
    uint8_t m_bNewData = 0;        // receiving: 1 from each accepted packet until a report block was built
    uint16_t m_nBaseSeqNum = 0;    // receiving: of the first packet
    uint32_t m_nPacketCount = 0;   // sent, or accepted
    uint32_t m_nOctetCount = 0;    // sent: headers included; receiving: 12 for each accepted packet
    uint32_t m_nMaxExtSeqNum = 0;  // receiving: the highest seen
    uint32_t m_nCycles = 0;        // receiving: 16-bit wraps
    uint32_t m_nHeaderLen = 0;     // 12 after parsing
    uint32_t m_nJitter = 0;        // receiving: scaled by 16; no estimate is kept
};

// Stateless.
class CRTP {
public:
    // Writes the header at the record's packet buffer, which has room for 12 bytes, and sets the packet length. Fields
    // are combined without masking: callers keep them in range.
    void AttachHeader(VRN_RTPStruct_st* record);

    // Reads the header of `packet`, whose length is in the record, and places the payload behind its 12 bytes: CSRC
    // entries, extensions and padding stay part of the payload. 1; -1 for another version than 2, which stores the
    // first byte's fields only, or for fewer than 12 bytes, which stores nothing.
    int ParseHeader(VRN_RTPStruct_st* record, unsigned char* packet);
};

#endif
