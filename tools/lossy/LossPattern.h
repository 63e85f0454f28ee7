// What a bad link does to each packet: loses it, brings it twice, brings it late. A packet's fate follows from the seed
// and from what the packet is, never from when it comes, so a run with the same packets treats them the same way.
#ifndef TOOLS_LOSSY_LOSS_PATTERN_H
#define TOOLS_LOSSY_LOSS_PATTERN_H

#include <cstdint>
#include <vector>

enum Direction { LEFT_TO_RIGHT, RIGHT_TO_LEFT, DIRECTION_COUNT };
enum PacketKind { RTP, RTCP, PACKET_KIND_COUNT };

struct PacketId {
    Direction direction;
    PacketKind kind;
    uint32_t number; // RTP: extended sequence number; RTCP: the report's place in its direction, from 0
};

// The same in each direction, and for RTP as for RTCP.
struct LinkConditions {
    double lossPercent = 0;
    double burst = 1; // mean length of a run of losses; 1: each packet for itself
    double duplicatePercent = 0;
    double reorderPercent = 0;
    unsigned delayMs = 0;
    unsigned jitterMs = 0; // at most this much on top of the delay
    uint64_t seed = 1;
};

// Immutable.
class LossPattern {
public:
    // Packets of text follow each other after 300 ms; a reader is shown a loss after a second. What is held back for
    // reordering comes after the next packet, and now and then too late.
    static constexpr unsigned MIN_HELD_BACK_MS = 350;
    static constexpr unsigned MAX_HELD_BACK_MS = 1200;

    explicit LossPattern(const LinkConditions& conditions);

    bool Loses(const PacketId& packet) const;

    // For a packet that is not lost: how many milliseconds later it arrives, and the same of its duplicate if it has one.
    std::vector<unsigned> ArrivalDelays(const PacketId& packet) const;

private:
    double Draw(const PacketId& packet, unsigned purpose) const;

    const LinkConditions m_Conditions;
    double m_dBegin; // chance that a loss follows a packet that came through
    double m_dStay;  // chance that a loss follows a loss
};

#endif
