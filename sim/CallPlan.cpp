// The calls that are played.

#include "sim/SimulatedCall.h"

namespace {
constexpr uint32_t TWELVE_A_SECOND_MS = 83;
constexpr uint64_t WRAP_OF_TICKS_MS = 1ULL << 32;
constexpr int64_t END_OF_NTP_ERA_S = (1LL << 32) - 2208988800; // since 1970
} // namespace

CallPlan CallPlan::FromSeed(uint64_t seed) {
    SimRandom random(seed);
    CallPlan plan;
    plan.channels = static_cast<int>(random.Between(1, 3));
    plan.quiet = random.Chance(0.5);
    plan.level = random.Below(6);
    plan.conditions.loss = random.Chance(0.2) ? 0 : random.Below(60) / 100.0;
    plan.conditions.burst = random.Chance(0.5) ? 1 : random.Between(15, 40) / 10.0;
    plan.conditions.duplicate = random.Chance(0.5) ? 0 : 0.05;
    plan.conditions.reorder = random.Chance(0.5) ? 0 : 0.03;
    plan.conditions.delayMs = random.Below(400);
    plan.conditions.jitterMs = random.Below(200);
    plan.wallMs = static_cast<int64_t>(random.Below(2000000000)) * 1000 + random.Below(1000);
    plan.rtcp = random.Chance(0.5);
    const uint32_t odd[] = {16, 18, 124, 255, 256};
    if (!plan.quiet && random.Chance(0.1)) {
        plan.level = random.OneOf(odd);
    }
    return plan;
}

CallPlan CallPlan::Day() {
    CallPlan plan;
    plan.turns = 144;
    plan.channels = 3;
    plan.msPerCharacter = TWELVE_A_SECOND_MS;
    plan.conditions = {0.1, 1, 0.01, 0.01, 60, 40};
    plan.rtcp = true;
    return plan;
}

// Nothing is reordered: a late packet at the wrap counts as one more wrap.
CallPlan CallPlan::SequenceWrap() {
    CallPlan plan;
    plan.durationMs = 20000000; // 66 000 packets
    plan.msPerCharacter = 2 * TWELVE_A_SECOND_MS;
    plan.conditions = {0.2, 1.5, 0.05, 0, 60, 0};
    return plan;
}

CallPlan CallPlan::TickWrap() {
    CallPlan plan;
    plan.idleMs = WRAP_OF_TICKS_MS - 300000;
    plan.conditions = {0.3, 2, 0.05, 0.03, 60, 40};
    plan.channels = 3;
    return plan;
}

CallPlan CallPlan::NtpWrap() {
    CallPlan plan;
    plan.wallMs = END_OF_NTP_ERA_S * 1000 - 300000;
    plan.conditions = {0.3, 2, 0.05, 0.03, 60, 40};
    plan.rtcp = true;
    return plan;
}

CallPlan CallPlan::LossMarks() {
    CallPlan plan;
    plan.conditions = {0.6, 8, 0, 0, 60, 40};
    plan.level = 1;
    plan.channels = 3;
    return plan;
}
