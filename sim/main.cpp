// vrn-sim: plays simulated calls by their seeds and holds the engine against its rules.

#include "sim/SimulatedCall.h"
#include "util/VRNLog.h"

#include <CLI/CLI.hpp>

#include <cinttypes>
#include <cstdio>

namespace {

struct Total {
    uint64_t calls = 0, failed = 0, packets = 0, shown = 0, marks = 0, timeouts = 0;
};

// Plays a call, every fiftieth twice: equal seeds make equal calls.
void Play(uint64_t seed, const CallPlan& plan, Total& total, bool verbose) {
    auto call = std::make_unique<SimulatedCall>(seed, plan);
    std::string failure = call->Run();
    const CallCounts counts = call->Counts();
    if (seed % 50 == 0 && failure.empty()) {
        call = nullptr;
        call = std::make_unique<SimulatedCall>(seed, plan);
        failure = call->Run();
        failure += call->Counts().digest == counts.digest ? "" : "played again, the call is another one";
    }
    ++total.calls;
    total.failed += failure.empty() ? 0 : 1;
    total.packets += counts.packets;
    total.shown += counts.shown;
    total.marks += counts.marks;
    total.timeouts += counts.timeouts;
    if (!failure.empty() || verbose) {
        printf("seed %" PRIu64 ": digest %016" PRIx64 " %s\n", seed, counts.digest, failure.c_str());
    }
}

// Without and with everything that hosts, far ends and strangers do in between.
void PlayBoth(CallPlan plan, uint64_t seed, Total& total, bool verbose) {
    for (const bool quiet : {true, false}) {
        plan.quiet = quiet;
        Play(seed, plan, total, verbose);
    }
}

} // namespace

int main(int argc, char** argv) try {
    CLI::App app("Plays simulated calls of ten virtual minutes and holds the engine against its rules.");
    uint64_t first = 1;
    uint64_t calls = 200;
    bool day = false;
    bool wrap = false;
    bool marks = false;
    bool verbose = false;
    app.add_option("--first", first, "the first seed")->capture_default_str();
    app.add_option("--calls", calls, "how many seeds")->capture_default_str();
    app.add_flag("--day", day, "instead: a day of conversation on three channels in turn");
    app.add_flag("--wrap", wrap, "instead: calls across the wraps of sequence numbers, ticks and NTP time");
    app.add_flag("--marks", marks, "instead: calls on three channels with gaps wherever one can be");
    app.add_flag("--verbose", verbose, "print each call's digest");
    CLI11_PARSE(app, argc, argv);
    VRNlogLevel = 0;
    Total total;
    if (day) {
        Play(first, CallPlan::Day(), total, verbose);
    } else if (wrap) {
        Play(first, CallPlan::SequenceWrap(), total, verbose);
        PlayBoth(CallPlan::TickWrap(), first, total, verbose);
        PlayBoth(CallPlan::NtpWrap(), first, total, verbose);
    } else if (marks) {
        PlayBoth(CallPlan::LossMarks(), first, total, verbose);
    } else {
        for (uint64_t seed = first; seed < first + calls; ++seed) {
            Play(seed, CallPlan::FromSeed(seed), total, verbose);
        }
    }
    printf("%" PRIu64 " calls, %" PRIu64 " failed: %" PRIu64 " packets, %" PRIu64 " characters and %" PRIu64
           " loss marks shown, %" PRIu64 " time-outs\n",
           total.calls, total.failed, total.packets, total.shown, total.marks, total.timeouts);
    return total.failed == 0 ? 0 : 1;
} catch (const std::exception& error) {
    fprintf(stderr, "%s\n", error.what());
    return 1;
}
