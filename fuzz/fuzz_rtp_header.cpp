// RTP headers (RFC 3550, 5.1): the fields read are those of an independent reader, and writing them gives the bytes
// back; what is no header changes nothing but the fields of its first byte.
#include "fuzz/Fuzz.h"
#include "transport/CRTP.h"

static Bytes Written(VRN_RTPStruct_st record) {
    Bytes header(12);
    record.m_pPacket = header.data();
    CRTP().AttachHeader(&record);
    return header;
}

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    ByteReader input(data, size);
    TakeMode(input);
    Bytes packet = Take(input, size);
    VRN_RTPStruct_st record;
    record.m_nPacketLen = static_cast<uint32_t>(packet.size());
    record.m_nMarker = record.m_nPayloadType = 1;
    record.m_nTimestamp = record.m_nSSRC = record.m_nSeqNum = 0x5A5A;
    Bytes expected = Written(record);
    const bool isLong = packet.size() >= 12;
    const bool isHeader = isLong && packet[0] / 64 == 2;
    FUZZ_CHECK(CRTP().ParseHeader(&record, packet.data()) == (isHeader ? 1 : -1));
    std::copy_n(packet.begin(), isHeader ? 12 : isLong ? 1 : 0, expected.begin());
    FUZZ_CHECK(Written(record) == expected && record.m_pPacket == (isLong ? packet.data() : nullptr));
    FUZZ_CHECK(record.m_nPayloadType == expected[1] % 128 && record.m_nSeqNum == Number(expected, 2, 2));
    FUZZ_CHECK(record.m_nTimestamp == Number(expected, 4, 4) && record.m_nSSRC == Number(expected, 8, 4));
    FUZZ_CHECK(!isHeader || (record.m_pPayload == &packet[0] + 12 && record.m_nPayloadLen + 12 == packet.size()));
    return 0;
}
