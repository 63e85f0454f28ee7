// One-shot timers that call back on a thread of their own.
//
// A callback can come late: after its timer was cancelled, armed again or deleted, on every libc. So each arming has a
// generation, and an expiry of an older one is dropped before it reaches the callback. A callback can also pass that
// check and then wait for its owner's lock while the owner cancels; it asks VRNExpiryIsCurrent once more under that lock.
// VRNWaitForCallbacks tells the owner when no callback can touch it any more.
//
// All functions are thread-safe and take no lock but the registry's own.
#ifndef UTIL_VRN_TIMER_H
#define UTIL_VRN_TIMER_H

#include <csignal>
#include <cstdint>

// Names a timer. Never used twice in a process, so a stale one finds nothing.
using HObject = unsigned long;
constexpr HObject VRN_NO_TIMER = ~0UL; // what owners keep while they have none

// Receives the argument given to VRNStartTimer as sival_ptr.
using VRNTimerCallback = void (*)(sigval);

// A timer that is not armed. Never fails.
HObject VRNCreateTimer();

// Arms the timer to call `callback` once in `ms` milliseconds; an earlier arming is void from here on. 0 never fires,
// nor does what lies past the end of the platform's clock. False, with a line, when the platform has no timer left
// (each costs the user one pending signal); false without one for a timer that is deleted.
bool VRNStartTimer(HObject timer, unsigned long ms, VRNTimerCallback callback, void* argument);

// Disarms. True also when the timer was not armed. Waits for nobody.
bool VRNCancelTimer(unsigned long timer);

// Disarms and forgets the timer. Always true. Waits for nobody.
bool VRNDeleteTimer(unsigned long timer);

// False inside a callback whose arming has been cancelled, replaced or deleted since it began; true elsewhere.
bool VRNExpiryIsCurrent();

// Waits until no callback with this argument is running, the calling thread's own apart. The caller has deleted the
// timers that had it and holds no lock that their callbacks take.
void VRNWaitForCallbacks(const void* argument);

#endif
