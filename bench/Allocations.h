// Counts what the program allocates. Linked into a program, this takes the place of the C library's malloc.
#ifndef BENCH_ALLOCATIONS_H
#define BENCH_ALLOCATIONS_H

#include <cstddef>

namespace allocations {

// Calls of malloc and its kind so far, and the usable bytes of what is allocated now.
size_t Calls();
size_t Bytes();

} // namespace allocations

#endif
