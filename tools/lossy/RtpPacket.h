// An RTP packet of text as a relay sees it: its number, and which texts it carries.
#ifndef TOOLS_LOSSY_RTP_PACKET_H
#define TOOLS_LOSSY_RTP_PACKET_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

struct RtpPacket {
    uint16_t sequenceNumber = 0;
    uint32_t ssrc = 0;
    // The text of this packet, then nothing newer; before it the earlier texts it repeats, oldest first.
    std::vector<std::string> generations; // at least one: the last is the primary

    const std::string& Primary() const { return generations.back(); }
    size_t Repeats() const { return generations.size() - 1; }

    // Whether nothing in it but its oldest generation has text: the packet that closes a burst of typing, in which the
    // last text goes out for the last time. Plain T.140 closes with an empty packet (RFC 4103, 5.2).
    bool IsLastRepeat() const;

    // False for bytes that are no RTP packet of version 2, or whose RED blocks (payload type `redPayloadType`) do not
    // fit; `packet` is then left alone.
    static bool Parse(const uint8_t* data, size_t length, unsigned redPayloadType, RtpPacket& packet);
};

#endif
