#include "bench/Allocations.h"

#include <atomic>
#include <malloc.h>

namespace {

std::atomic<size_t> s_Calls{0}, s_Bytes{0};

void* Counted(void* block) {
    ++s_Calls;
    s_Bytes += malloc_usable_size(block); // 0 for null
    return block;
}

} // namespace

size_t allocations::Calls() {
    return s_Calls;
}

size_t allocations::Bytes() {
    return s_Bytes;
}

#define EXPORTED extern "C" __attribute__((visibility("default")))

// glibc's own, under the names that it keeps for this.
EXPORTED void* __libc_malloc(size_t size);
EXPORTED void* __libc_calloc(size_t count, size_t size);
EXPORTED void* __libc_realloc(void* block, size_t size);
EXPORTED void* __libc_memalign(size_t alignment, size_t size);
EXPORTED void __libc_free(void* block);

EXPORTED void* malloc(size_t size) noexcept {
    return Counted(__libc_malloc(size));
}

EXPORTED void* calloc(size_t count, size_t size) noexcept {
    return Counted(__libc_calloc(count, size));
}

EXPORTED void* realloc(void* block, size_t size) noexcept {
    s_Bytes -= malloc_usable_size(block);
    return Counted(__libc_realloc(block, size));
}

EXPORTED void* aligned_alloc(size_t alignment, size_t size) noexcept {
    return Counted(__libc_memalign(alignment, size));
}

EXPORTED void free(void* block) noexcept {
    s_Bytes -= malloc_usable_size(block);
    __libc_free(block);
}
