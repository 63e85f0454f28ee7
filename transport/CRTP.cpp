#include "transport/CRTP.h"

#include "util/ByteReader.h"
#include "util/VRNLog.h"

// RFC 3550, 5.1:
//
//   offset  size
//   0       1     version (bits 7-6), P (5), X (4), CSRC count (3-0)
//   1       1     M (bit 7), payload type (6-0)
//   2       2     sequence number
//   4       4     timestamp
//   8       4     SSRC
//   12            payload

void CRTP::AttachHeader(VRN_RTPStruct_st* record) {
    ByteWriter writer(record->m_pPacket, RTP_HEADER_SIZE);
    writer.U8(static_cast<uint32_t>(record->m_nVersion << 6 | record->m_nPadding << 5 | record->m_nExtension << 4) |
              record->m_nCsrcCount);
    writer.U8(static_cast<uint32_t>(record->m_nMarker << 7 | record->m_nPayloadType));
    writer.U16(record->m_nSeqNum);
    writer.U32(record->m_nTimestamp);
    writer.U32(record->m_nSSRC);
    record->m_nPacketLen = record->m_nPayloadLen + RTP_HEADER_SIZE;
}

int CRTP::ParseHeader(VRN_RTPStruct_st* record, unsigned char* packet) {
    if (record->m_nPacketLen < RTP_HEADER_SIZE) {
        return -1;
    }
    ByteReader reader(packet, record->m_nPacketLen);
    const uint8_t first = reader.U8();
    record->m_pPacket = packet;
    record->m_nVersion = first >> 6;
    record->m_nPadding = (first >> 5) & 1;
    record->m_nExtension = (first >> 4) & 1;
    record->m_nCsrcCount = first & 0x0F;
    if (record->m_nVersion != RTP_VERSION) {
        VRN_LOG(VRN_LOG_TRACE, "%s: Invalid RTP Version:%d", record->m_nVersion);
        return -1;
    }
    const uint8_t second = reader.U8();
    record->m_nMarker = second >> 7;
    record->m_nPayloadType = second & 0x7F;
    record->m_nSeqNum = reader.U16();
    record->m_nTimestamp = reader.U32();
    record->m_nSSRC = reader.U32();
    record->m_pPayload = packet + RTP_HEADER_SIZE;
    record->m_nHeaderLen = RTP_HEADER_SIZE;
    record->m_nPayloadLen = record->m_nPacketLen - RTP_HEADER_SIZE;
    return 1;
}
