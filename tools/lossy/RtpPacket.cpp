#include "lossy/RtpPacket.h"

#include "util/ByteReader.h"

#include <algorithm>

namespace {

constexpr unsigned RTP_VERSION = 2;
constexpr unsigned PAYLOAD_TYPE_MASK = 0x7F;
constexpr unsigned RED_MORE_BLOCKS = 0x80;
constexpr uint32_t RED_LENGTH_MASK = 0x3FF;

std::string TakeText(ByteReader& reader, size_t length) {
    const auto* start = reinterpret_cast<const char*>(reader.Position());
    return reader.Skip(length) ? std::string(start, length) : std::string();
}

// RED (RFC 2198, 3): block headers, oldest block first, then the blocks in the same order.
//    0                   1                   2                   3
//    0 1 2 3 4 5 6 7 8 9 0 1 2 3 4 5 6 7 8 9 0 1 2 3 4 5 6 7 8 9 0 1
//   |1|   block PT  |  timestamp offset         |   block length    |   each earlier generation
//   |0|   block PT  |                                                   primary: takes what is left
bool ParseRed(ByteReader& reader, std::vector<std::string>& generations) {
    std::vector<size_t> lengths;
    while (reader.Ok() && (reader.U8() & RED_MORE_BLOCKS) != 0) {
        lengths.push_back(reader.U24() & RED_LENGTH_MASK);
    }
    for (const size_t length : lengths) {
        generations.push_back(TakeText(reader, length));
    }
    generations.push_back(TakeText(reader, reader.Left()));
    return reader.Ok();
}

} // namespace

bool RtpPacket::IsLastRepeat() const {
    const auto afterOldest = Repeats() == 0 ? generations.begin() : generations.begin() + 1;
    return std::all_of(afterOldest, generations.end(), [](const std::string& text) { return text.empty(); });
}

// RTP fixed header (RFC 3550, 5.1):
//   0   version (2 bits), padding, extension, CSRC count    1   marker (1 bit), payload type
//   2   sequence number    4   timestamp    8   SSRC    12   payload
bool RtpPacket::Parse(const uint8_t* data, size_t length, unsigned redPayloadType, RtpPacket& packet) {
    ByteReader reader(data, length);
    RtpPacket parsed;
    const bool isVersion2 = (reader.U8() >> 6) == RTP_VERSION;
    const unsigned payloadType = reader.U8() & PAYLOAD_TYPE_MASK;
    parsed.sequenceNumber = reader.U16();
    reader.Skip(sizeof(uint32_t));
    parsed.ssrc = reader.U32();
    if (!isVersion2 || !reader.Ok()) {
        return false;
    }
    if (payloadType != redPayloadType) {
        parsed.generations.push_back(TakeText(reader, reader.Left()));
    } else if (!ParseRed(reader, parsed.generations)) {
        return false;
    }
    packet = std::move(parsed);
    return true;
}
