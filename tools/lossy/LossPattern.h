// Which packets a lossy link loses. A packet's fate follows from the seed and from what the packet is, never from when
// it comes, so a run with the same packets loses the same ones.
#ifndef TOOLS_LOSSY_LOSS_PATTERN_H
#define TOOLS_LOSSY_LOSS_PATTERN_H

#include <cstdint>

enum Direction { LEFT_TO_RIGHT, RIGHT_TO_LEFT, DIRECTION_COUNT };
enum PacketKind { RTP, RTCP, PACKET_KIND_COUNT };

struct PacketId {
    Direction direction;
    PacketKind kind;
    uint32_t number; // RTP: extended sequence number; RTCP: the report's place in its direction, from 0
};

// Immutable.
class LossPattern {
public:
    LossPattern(uint64_t seed, double lossPercent) : m_nSeed(seed), m_dLossShare(lossPercent / 100) {}

    bool Loses(const PacketId& packet) const;

private:
    const uint64_t m_nSeed;
    const double m_dLossShare;
};

#endif
