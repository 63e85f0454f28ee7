// Threads against the engine: three channels, operations aimed at the moment a timer expires, packets on all sockets,
// and a handler that joins in. Every random choice comes from the seed; how threads meet does not.
//
// A call is some rounds of 300 ms between two moments without a channel, at which nothing may be left behind. In a
// short call the aims are send ticks and time-outs, and every operation is allowed from the start; a long one is gentle
// until the first report of each channel, 2 s after RTCP was switched on, which its time-out joins. Then comes a round
// in which three threads act at the same moment, and the same with deletions.

#include "tests/stress/Process.h"
#include "tests/stress/StressHost.h"
#include "tests/support/WaitUntil.h"

#include <CLI/CLI.hpp>

#include <climits>
#include <map>

namespace {

using namespace std::chrono_literals;

constexpr auto ROUND = 300ms;
constexpr auto PHASE = 37ms; // between the aims of two channels
constexpr auto LINGER = 1ms; // what was aimed at may come now
constexpr auto WARM_UP = 500ms;
constexpr unsigned SHORT_CALL = 1;
constexpr unsigned LONG_CALL = 7; // rounds; reports come in the last
constexpr int AIM_US = 200;       // an operation comes up to this much before the expiry or after it
constexpr auto SPIN = 100us;      // wake-ups are no more exact than this
constexpr unsigned FIRST_TIMEOUT_MS = 5;
constexpr unsigned TIMEOUTS_MS = 40;
constexpr short LAST_TIMEOUT_MS = 10;
constexpr unsigned DELETIONS = 4;        // of all channels, at the end of a call
constexpr long MEMORY_BOUND = 64 * 1024; // the caches of the allocator waver by less
constexpr const char* RESOURCE_CLAIMS[] = {"no descriptor is left", "no thread is left", "no timer is left"};

Random s_Random;
unsigned s_nRounds = 0;
unsigned s_nAims = 0;

void Aim(Random& random, TimePoint expiry) {
    const TimePoint time = expiry + 1us * (static_cast<int>(random() % (2 * AIM_US + 1)) - AIM_US);
    std::this_thread::sleep_until(time - SPIN);
    while (std::chrono::steady_clock::now() < time) {
    }
}

// Each aim, a channel by what it waits for, is followed by the next of its channel.
void Round(std::multimap<TimePoint, int>& aims, bool gentle) {
    s_bGentle = gentle;
    const TimePoint end = std::chrono::steady_clock::now() + ROUND;
    for (; aims.begin()->first < end; ++s_nAims) {
        const auto [expiry, channel] = *aims.begin();
        aims.erase(aims.begin());
        Aim(s_Random, expiry);
        Operate(s_Random, channel);
        std::this_thread::sleep_for(LINGER);
        const auto timeout = static_cast<short>(FIRST_TIMEOUT_MS + s_Random() % TIMEOUTS_MS);
        const bool ticks = gentle || s_Random() % 4 == 0;
        aims.emplace(ticks ? ArmTick(s_Random, channel) : ArmTimeout(channel, timeout), channel);
    }
    std::this_thread::sleep_until(end);
}

// Three threads, each with a channel, act at the same moment, when a timer of each channel expires. The ticks: each
// start ends the codec that the tick belongs to. Or the time-outs: the thread that deletes the last channel waits for
// the others.
void AllAtOnce(bool deletes) {
    TimePoint expiry;
    for (int channel = 0; channel < CHANNELS; ++channel) {
        expiry = ArmTick(s_Random, channel);
    }
    for (int channel = 0; channel < CHANNELS && deletes; ++channel) {
        expiry = ArmTimeout(channel, LAST_TIMEOUT_MS);
    }
    std::vector<std::thread> threads;
    for (int channel = 0; channel < CHANNELS; ++channel) {
        threads.emplace_back([=, random = Random(s_Random())]() mutable {
            Aim(random, expiry);
            deletes ? Delete(channel) : Restart(random, channel);
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}

void Call() {
    const bool isLong = s_Random() % 4 == 0;
    const unsigned rounds = isLong ? LONG_CALL : SHORT_CALL;
    s_bGentle = isLong;
    BeginCall(s_Random);
    TimePoint first = std::chrono::steady_clock::now();
    std::multimap<TimePoint, int> aims;
    for (int channel = 0; channel < CHANNELS; ++channel, first += PHASE) {
        std::this_thread::sleep_until(first);
        aims.emplace(isLong ? ArmTimeout(channel, REPORT_INTERVAL_MS) : first, channel);
        aims.emplace(ArmTick(s_Random, channel), channel);
    }
    for (unsigned round = 1; round <= rounds; ++round) {
        Round(aims, isLong && round < rounds);
        s_bProgress = true;
    }
    AllAtOnce(false);
    for (unsigned i = 0; i < DELETIONS; ++i) {
        AllAtOnce(true);
    }
    EndCall();
    s_nRounds += rounds + 1;
}

} // namespace

int main(int argc, char** argv) {
    unsigned rounds = 200;
    unsigned seed = 1;
    CLI::App options("Stresses the engine's threads.");
    options.add_option("--rounds", rounds, "of 300 ms each");
    options.add_option("--seed", seed, "of all random choices");
    CLI11_PARSE(options, argc, argv);
    StartWatchdog();
    s_Random.seed(seed);
    StartHost(seed);
    std::vector<size_t> memory;
    std::array<long, 3> least = {LONG_MAX, LONG_MAX, LONG_MAX};
    while (s_nRounds < rounds) {
        Call();
        std::this_thread::sleep_for(memory.empty() ? WARM_UP : 0ms);
        // No more is left than after any call before. The helper threads of the C library's timers end late.
        for (size_t kind = 0; kind < least.size(); ++kind) {
            long held = 0;
            Check(WaitUntil([&] { return (held = CountResources()[kind]) <= least[kind]; }), RESOURCE_CLAIMS[kind]);
            least[kind] = std::min(least[kind], held);
        }
        memory.push_back(MemoryInUse());
    }
    const long trend = MemoryTrend(memory);
    Check(trend <= MEMORY_BOUND, "memory does not grow");
    Check(s_nHandled[1] > 0 && s_nHandled[2] > 0, "the handler took part");
    printf("seed %u: %u rounds, %zu calls, %u aims, %u texts and %u time-outs handled, memory %+ld bytes\n", seed,
           s_nRounds, memory.size(), s_nAims, s_nHandled[1].load(), s_nHandled[2].load(), trend);
}
