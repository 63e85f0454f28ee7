#include "sim/LossCurve.h"

#include <algorithm>
#include <cinttypes>
#include <cstdio>

namespace {
constexpr int STREAMS = 141; // a million characters when each is ten minutes long, and more for the ends not counted
} // namespace

bool LossCurvePoint::Measure() {
    SimRandom seeds(static_cast<uint64_t>(m_Plan.loss * 1000 + m_Plan.burst * 1000000) + m_Plan.level);
    for (int i = 0; i < STREAMS; ++i) {
        const uint64_t seed = seeds.Bits();
        LossCurveStream stream(m_Plan, seed);
        stream.Play();
        if (!stream.IsShownAsItMustBe()) {
            fprintf(stderr, "loss %g, burst %g, redundancy %u, seed %" PRIu64 ": not shown as it must be\n",
                    m_Plan.loss, m_Plan.burst, m_Plan.level, seed);
            return false;
        }
        const StreamResult result = stream.Result();
        m_Total.characters += result.characters;
        m_Total.charactersLost += result.charactersLost;
        m_Total.packets += result.packets;
        m_Total.sent += result.sent;
        m_Total.arrived += result.arrived;
        m_Total.delaysMs.insert(m_Total.delaysMs.end(), result.delaysMs.begin(), result.delaysMs.end());
        m_Streams.push_back({result.characters, result.charactersLost, 0, 0, 0, {}});
    }
    return true;
}

// The variance between streams says how many losses independent of each other would be as uncertain; these are Poisson's,
// whose limits are E. B. Wilson's and M. M. Hilferty's (1931): right for few, and the usual ones for many.
Share LossCurvePoint::TextLost(const Confidence& confidence) const {
    const double share = static_cast<double>(m_Total.charactersLost) / static_cast<double>(m_Total.characters);
    if (m_Total.charactersLost == 0) {
        const double gap = std::max(m_Plan.burst, 1 / (1 - m_Plan.loss)); // packets that one would have
        return {0, 0, confidence.whenNoneIs * gap / static_cast<double>(m_Total.packets)};
    }
    double squares = 0;
    for (const StreamResult& stream : m_Streams) {
        const double expected = static_cast<double>(stream.characters) * share;
        squares += std::pow(static_cast<double>(stream.charactersLost) - expected, 2);
    }
    const double variance = squares * STREAMS / (STREAMS - 1);
    const double independent = std::pow(static_cast<double>(m_Total.charactersLost), 2) / variance;
    const auto limit = [&](double n, double quantile) {
        const double root = std::max(0.0, 1 - 1 / (9 * n) + quantile / (3 * std::sqrt(n)));
        return std::min(1.0, share * n / independent * root * root * root);
    };
    return {share, limit(independent, -confidence.quantile), limit(independent + 1, confidence.quantile)};
}

double LossCurvePoint::PacketsLost() const {
    return 1 - static_cast<double>(m_Total.arrived) / static_cast<double>(m_Total.sent);
}

uint64_t LossCurvePoint::DelayMs(double share) {
    const size_t last = m_Total.delaysMs.size() - 1;
    const auto nth = m_Total.delaysMs.begin() + static_cast<long>(share * static_cast<double>(last));
    std::nth_element(m_Total.delaysMs.begin(), nth, m_Total.delaysMs.end());
    return *nth;
}
