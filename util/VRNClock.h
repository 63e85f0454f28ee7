// The engine's clocks and random numbers. All functions are thread-safe.
#ifndef UTIL_VRN_CLOCK_H
#define UTIL_VRN_CLOCK_H

#include <cstdint>

// Makes now the engine's time base. Returns it in milliseconds since the Unix epoch; 0 when the platform's clock failed,
// which leaves the base unchanged.
uint64_t VRNResetAndGetTime();

// Milliseconds since the time base, modulo 2^32 (49.7 days): the RTP timestamp clock of text (RFC 4103: 1000 Hz). Before
// any reset the base is the Unix epoch. While the platform's clock fails it stands still.
uint32_t VRNGetTickCount();

// The calendar time, in seconds.
long VRNGetTime();

// NTP time (RFC 3550, 4): seconds since 1900, modulo 2^32, and the fraction in units of 2^-32 s. 0 for success;
// otherwise the platform's result, and neither value is written.
int VRNGetNTPTime(unsigned int* seconds, unsigned int* fraction);

// a - b modulo 2^32.
uint32_t VRNDiffTime(unsigned int a, unsigned int b);

void VRNSeedRand(unsigned int seed);
int VRNRand();

#endif
