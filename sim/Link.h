// One way of a network: loses, repeats, delays and reorders datagrams.
#ifndef SIM_LINK_H
#define SIM_LINK_H

#include "sim/SimRandom.h"
#include "tests/support/UdpPeer.h"

#include <map>

struct LinkConditions {
    double loss = 0;      // of all datagrams
    double burst = 1;     // mean length of a run of losses; 1: independent ones
    double duplicate = 0; // probabilities
    double reorder = 0;
    uint32_t delayMs = 0;
    uint32_t jitterMs = 0;
};

struct Carried {
    bool isRtcp;
    Bytes data;
    size_t index; // the sender's count of its packets
};

class Link {
public:
    Link(const LinkConditions& conditions, uint64_t seed) : m_Conditions(conditions), m_Random(seed) {}

    void Send(uint64_t now, const Carried& datagram) {
        if (IsLost()) {
            return;
        }
        do {
            const uint32_t late = m_Random.Chance(m_Conditions.reorder) ? m_Random.Between(300, 1200) : 0;
            const uint64_t arrival = now + m_Conditions.delayMs + m_Random.Below(m_Conditions.jitterMs + 1) + late;
            m_Flying.emplace(arrival, datagram);
        } while (m_Random.Chance(m_Conditions.duplicate));
    }

    uint64_t NextArrival() const { return m_Flying.empty() ? UINT64_MAX : m_Flying.begin()->first; }

    Carried TakeArrived() {
        Carried arrived = m_Flying.begin()->second;
        m_Flying.erase(m_Flying.begin());
        return arrived;
    }

private:
    // Bursts as a chain of two states (E. N. Gilbert, 1960): losses end with probability 1/burst, and begin often enough
    // that `loss` of all datagrams are lost.
    bool IsLost() {
        if (m_Conditions.burst <= 1) {
            return m_Random.Chance(m_Conditions.loss);
        }
        const double end = 1 / m_Conditions.burst;
        const double begin = m_Conditions.loss * end / (1 - m_Conditions.loss);
        m_bLosing = m_Random.Chance(m_bLosing ? 1 - end : begin);
        return m_bLosing;
    }

    const LinkConditions m_Conditions;
    SimRandom m_Random;
    bool m_bLosing = false;
    std::multimap<uint64_t, Carried> m_Flying; // by arrival
};

#endif
