// Text lost against packets lost: what many streams over equally bad networks come to.
#ifndef SIM_LOSS_CURVE_H
#define SIM_LOSS_CURVE_H

#include "sim/LossCurveStream.h"

#include <cmath>

struct Confidence {
    double quantile;   // two-sided, of Student's t with some hundred degrees of freedom
    double whenNoneIs; // -ln(1 - confidence): as many were to be expected at most when none is seen
};
constexpr Confidence CONFIDENCE_95 = {1.98, 3.0};
constexpr Confidence CONFIDENCE_999 = {3.39, 6.91};

struct Share {
    double value, low, high;
};

class LossCurvePoint {
public:
    explicit LossCurvePoint(const StreamPlan& plan) : m_Plan(plan) {}

    // False when something is not shown as it must be, which is printed.
    bool Measure();

    // By batch means, each stream a batch, since losses come in runs.
    Share TextLost(const Confidence& confidence) const;
    // The chance that a packet and all those which repeat its text are lost, when losses are independent.
    double Theory() const { return std::pow(m_Plan.loss, m_Plan.level + 1); }
    double PacketsLost() const;
    uint64_t Characters() const { return m_Total.characters; }
    // So many milliseconds or less after being typed is this share of the shown characters shown.
    uint64_t DelayMs(double share);

private:
    const StreamPlan m_Plan;
    std::vector<StreamResult> m_Streams; // without their delays
    StreamResult m_Total;
};

#endif
