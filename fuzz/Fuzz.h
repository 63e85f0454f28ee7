// What the fuzz targets share: the check that ends a run, and reading an input, which ByteReader does.
#ifndef FUZZ_FUZZ_H
#define FUZZ_FUZZ_H

#include "tests/support/UdpPeer.h"
#include "util/ByteReader.h"
#include "util/VRNLog.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <numeric>

// One input, whatever its bytes are. Returns 0; a broken rule aborts.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

#define FUZZ_CHECK(rule)                                                                                               \
    ((rule) ? void() : (fprintf(stderr, "%s:%d: broken: %s\n", __FILE__, __LINE__, #rule), abort()))

// The first byte of an input: flags in the lower bits; all of the upper three ask for logging, which only short inputs
// get, since it costs most of a run's time.
inline uint8_t TakeMode(ByteReader& input) {
    const uint8_t mode = input.U8();
    VRNlogLevel = mode / 32 == 7 && input.Left() < 32 ? VRN_LOG_TRACE : 0;
    return mode;
}

inline bool HasMore(const ByteReader& input) {
    return input.Ok() && input.Left() > 0;
}

// The next bytes of an input, as many as there are, in memory of just their size.
inline Bytes Take(ByteReader& input, size_t most) {
    const uint8_t* const first = input.Position();
    return input.Skip(std::min(most, input.Left())) ? Bytes(first, input.Position()) : Bytes();
}

// A big-endian number within bytes.
inline uint32_t Number(const Bytes& bytes, size_t at, size_t size) {
    FUZZ_CHECK(at + size <= bytes.size());
    return std::accumulate(&bytes[at], &bytes[at] + size, 0U,
                           [](uint32_t high, uint8_t low) { return high << 8 | low; });
}

#endif
