#include "lossy/LossPattern.h"

#include <algorithm>
#include <cmath>

namespace {

constexpr double PERCENT = 100;
constexpr double HELD_BACK_SPAN = LossPattern::MAX_HELD_BACK_MS - LossPattern::MIN_HELD_BACK_MS;

// What a number is drawn for; each copy of a packet draws the last three anew.
enum Purpose { LOSS, DUPLICATE, REORDER, HELD_BACK, JITTER, PURPOSE_COUNT };
constexpr unsigned COPY_PURPOSES = PURPOSE_COUNT - REORDER;

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

// Bursts are a chain of two states (E. N. Gilbert, 1960): a run of losses ends with probability 1/burst, and begins
// often enough that the share of all packets is lost. No run is shorter than where each packet is lost for itself.
LossPattern::LossPattern(const LinkConditions& conditions) : m_Conditions(conditions) {
    const double share = conditions.lossPercent / PERCENT;
    m_dStay = std::max(share, 1 - 1 / conditions.burst);
    m_dBegin = m_dStay > share ? share * (1 - m_dStay) / (1 - share) : share;
}

// The chain, walked back to the last packet whose draw decides by itself: below both chances, or above both. Between
// them the state of the packet before goes on.
bool LossPattern::Loses(const PacketId& packet) const {
    PacketId at = packet;
    double draw = Draw(at, LOSS);
    while (at.number > 0 && draw >= m_dBegin && draw < m_dStay) {
        --at.number;
        draw = Draw(at, LOSS);
    }
    return draw < m_dBegin;
}

std::vector<unsigned> LossPattern::ArrivalDelays(const PacketId& packet) const {
    const auto chance = [&](double percent, unsigned purpose) { return Draw(packet, purpose) * PERCENT < percent; };
    std::vector<unsigned> delays(chance(m_Conditions.duplicatePercent, DUPLICATE) ? 2 : 1, m_Conditions.delayMs);
    unsigned purposes = 0;
    for (unsigned& delay : delays) {
        const bool isHeldBack = chance(m_Conditions.reorderPercent, REORDER + purposes);
        const double held = isHeldBack ? MIN_HELD_BACK_MS + HELD_BACK_SPAN * Draw(packet, HELD_BACK + purposes) : 0;
        delay += static_cast<unsigned>(std::lround(m_Conditions.jitterMs * Draw(packet, JITTER + purposes) + held));
        purposes += COPY_PURPOSES;
    }
    return delays;
}

double LossPattern::Draw(const PacketId& packet, unsigned purpose) const {
    const uint64_t use = (uint64_t{purpose} * DIRECTION_COUNT + packet.direction) * PACKET_KIND_COUNT + packet.kind;
    return UnitInterval(Mix(Mix(m_Conditions.seed) ^ Mix((use << 32) | packet.number)));
}
