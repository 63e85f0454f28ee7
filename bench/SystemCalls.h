// The system calls that a packet costs: real, or skipped, so that what is left is the engine's own work. Linked into a
// benchmark, this takes the place of the platform's sendto, recvfrom, timers and clocks for the whole program.
#ifndef BENCH_SYSTEM_CALLS_H
#define BENCH_SYSTEM_CALLS_H

#include <cstddef>
#include <cstdint>
#include <vector>

namespace system_calls {

// While skipped: sendto has sent, recvfrom gives the datagram set below, which stays the caller's, and no timer exists
// in the kernel. Real timers are armed an hour too late, so that none ever expires by itself. Timers that are armed when
// this changes are lost: it is said before a host is set up.
void Skip(bool skipped);
void SetReceived(const std::vector<uint8_t>* datagram);

// Moves the clocks that the engine reads on; real time goes on as well.
void AdvanceClocks(unsigned ms);

// Runs what the armed timers call, on this thread; they are not armed any more. How many there were.
size_t ExpireTimers();

} // namespace system_calls

#endif
