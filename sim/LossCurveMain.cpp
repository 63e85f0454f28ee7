// vrn-loss-curve: measures the text lost against the packets lost, for each redundancy.

#include "sim/LossCurve.h"
#include "util/VRNLog.h"

#include <CLI/CLI.hpp>

#include <cinttypes>
#include <cstdio>

namespace {

constexpr uint32_t HIGHEST_LEVEL = 5;

struct Percents {
    int first, last, step;
};
constexpr Percents DRAWN = {0, 60, 5};
constexpr Percents CHECKED = {10, 50, 20};

bool PrintRow(LossCurvePoint& point, const StreamPlan& plan) {
    const Share lost = point.TextLost(CONFIDENCE_95);
    printf("%g,%.2f,%.5f,%u,%" PRIu64 ",%.3g,%.3g,%.3g,", plan.burst, plan.loss, point.PacketsLost(), plan.level,
           point.Characters(), lost.value, lost.low, lost.high);
    if (plan.burst == 1) {
        printf("%.3g", point.Theory());
    }
    printf(",%" PRIu64 ",%" PRIu64 ",%" PRIu64 "\n", point.DelayMs(0.5), point.DelayMs(0.95), point.DelayMs(0.99));
    return true;
}

bool HoldsTheory(LossCurvePoint& point, const StreamPlan& plan) {
    const Share lost = point.TextLost(CONFIDENCE_999);
    const bool held = lost.low <= point.Theory() && point.Theory() <= lost.high;
    printf("%.0f %% lost, redundancy %u: text lost %.2e (%.2e to %.2e), theory %.2e%s\n", 100 * plan.loss, plan.level,
           lost.value, lost.low, lost.high, point.Theory(), held ? "" : ": OUTSIDE");
    return held;
}

bool ForEachPoint(const Percents& percents, StreamPlan plan, bool (*tell)(LossCurvePoint&, const StreamPlan&)) {
    bool held = true;
    for (int percent = percents.first; percent <= percents.last; percent += percents.step) {
        for (plan.level = 0; plan.level <= HIGHEST_LEVEL; ++plan.level) {
            plan.loss = percent / 100.0;
            LossCurvePoint point(plan);
            held &= point.Measure() && tell(point, plan);
        }
    }
    return held;
}

} // namespace

int main(int argc, char** argv) try {
    CLI::App app("Measures the text lost and its delay against the packets lost, for each redundancy, as CSV.");
    StreamPlan plan = {0, 1, 0, 10};
    bool check = false;
    app.add_option("--burst", plan.burst, "mean length of a run of lost packets; 1: losses are independent")
        ->check(CLI::Range(1.0, 3.0))
        ->capture_default_str();
    app.add_option("--minutes", plan.minutes, "how long each stream is")->capture_default_str();
    app.add_flag("--check", check, "hold a few points of independent loss to the theory, and print no CSV");
    CLI11_PARSE(app, argc, argv);
    VRNlogLevel = 0;
    if (check) {
        plan.burst = 1;
        return ForEachPoint(CHECKED, plan, HoldsTheory) ? 0 : 1;
    }
    puts("burst,packets_lost_set,packets_lost,redundancy,characters,text_lost,low,high,theory,p50_ms,p95_ms,p99_ms");
    return ForEachPoint(DRAWN, plan, PrintRow) ? 0 : 1;
} catch (const std::exception& error) {
    fprintf(stderr, "%s\n", error.what());
    return 1;
}
