// The engine's clock and timers, moved by hand: linked in place of util/VRNClock.cpp and util/VRNTimer.cpp. A timer
// that comes due runs on the thread that moves the clock, before the call returns.
#ifndef TESTS_SUPPORT_MANUAL_TIME_H
#define TESTS_SUPPORT_MANUAL_TIME_H

#include <cstddef>
#include <cstdint>
#include <functional>

namespace manual_time {

// Back to tick 0 in 1970, with no timer and working timers.
void Reset();

// Sets the tick count without running timers; it goes on from there.
void SetTick(uint32_t tick);

// Steps the wall clock, and the tick count with it; timers are durations and do not notice.
void StepWallClock(int64_t ms);

// Milliseconds since Reset, and the time that the next timer is due at: UINT64_MAX when none is.
uint64_t Now();
uint64_t NextExpiry();

// Moves the clock on; timers due on the way run at their time, in order.
void Advance(uint64_t ms);

// The NTP time that the clock reports from now on, whatever the wall clock says.
void SetNtp(uint32_t seconds, uint32_t fraction);

// The next `count` armings fail.
void FailNextStarts(size_t count);

// Runs `meanwhile` once, when the next timer has come due and before its callback: what another thread does while an
// expiry waits for its owner's lock.
void BeforeNextExpiry(std::function<void()> meanwhile);

size_t ArmedTimers();
size_t LiveTimers();

} // namespace manual_time

#endif
