// The time of a call, in milliseconds. Several programs given the same zero show the same time.
#ifndef TOOLS_COMMON_CALL_CLOCK_H
#define TOOLS_COMMON_CALL_CLOCK_H

#include <chrono>
#include <cstdint>

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
