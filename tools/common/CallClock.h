// The time of a call, in milliseconds. Several programs given the same zero show the same time.
#ifndef TOOLS_COMMON_CALL_CLOCK_H
#define TOOLS_COMMON_CALL_CLOCK_H

#include <chrono>
#include <cstdint>

// The last second since 1970 that may be zero, in the year 2106: nanoseconds of it fit the clock.
constexpr double LAST_TIME_ZERO = 4294967295;

// Runs on the steady clock, so a clock set during a call moves nothing. Thread-safe.
class CallClock {
public:
    // Zero is the given second since 1970, which may lie ahead; 0 or less means now.
    explicit CallClock(double zeroEpochSeconds);

    // Negative before zero.
    int64_t NowMs() const;

private:
    std::chrono::steady_clock::time_point m_Zero;
};

#endif
