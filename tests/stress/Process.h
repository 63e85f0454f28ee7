// The process of a stress test: what it holds, whether it grows, and whether it goes on.
#ifndef TESTS_STRESS_PROCESS_H
#define TESTS_STRESS_PROCESS_H

#include <array>
#include <atomic>
#include <cstddef>
#include <vector>

// Ends the program with status 1 where the claim does not hold. Thread-safe.
void Check(bool holds, const char* claim);

// Descriptors, threads and timers, in this order.
std::array<long, 3> CountResources();

// Bytes of the heap in use.
size_t MemoryInUse();
// How much the last quarter of the samples lies above the second, the first being the warm-up: medians, bytes.
long MemoryTrend(const std::vector<size_t>& samples);

// From now on, when a minute passes in which s_bProgress is not set, every thread prints its stack to the standard error
// and the program is aborted. Once a process.
void StartWatchdog();
inline std::atomic<bool> s_bProgress{false};

#endif
