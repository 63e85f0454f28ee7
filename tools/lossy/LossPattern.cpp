#include "lossy/LossPattern.h"

namespace {

// The finalizer of SplitMix64: every bit of the input moves every bit of the output.
uint64_t Mix(uint64_t value) {
    value += 0x9E3779B97F4A7C15U;
    value = (value ^ (value >> 30)) * 0xBF58476D1CE4E5B9U;
    value = (value ^ (value >> 27)) * 0x94D049BB133111EBU;
    return value ^ (value >> 31);
}

// The top 53 bits as a number in [0, 1): what a double holds exactly.
double UnitInterval(uint64_t value) {
    constexpr int shift = 64 - 53;
    constexpr double scale = 1.0 / 9007199254740992.0;
    return static_cast<double>(value >> shift) * scale;
}

} // namespace

bool LossPattern::Loses(const PacketId& packet) const {
    const uint64_t stream = static_cast<uint64_t>(packet.direction) * PACKET_KIND_COUNT + packet.kind;
    return UnitInterval(Mix(Mix(m_nSeed) ^ Mix((stream << 32) | packet.number))) < m_dLossShare;
}
