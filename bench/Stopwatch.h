// Times a part of an iteration; what comes before Start is set-up.
#ifndef BENCH_STOPWATCH_H
#define BENCH_STOPWATCH_H

#include <benchmark/benchmark.h>
#include <ctime>

class Stopwatch {
public:
    void Start() { m_Start = Now(); }

    // To be used with UseManualTime(). Where KeepRunningBatch counts several iterations, the time of all.
    void StopInto(benchmark::State& state) { state.SetIterationTime(Now() - m_Start); }

private:
    // A clock that the engine does not read, and that no benchmark moves.
    static double Now() {
        constexpr double SECONDS_PER_NS = 1e-9;
        timespec now{};
        clock_gettime(CLOCK_MONOTONIC_RAW, &now);
        return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * SECONDS_PER_NS;
    }

    double m_Start = 0;
};

#endif
