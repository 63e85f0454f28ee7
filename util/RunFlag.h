// Tells a thread to go on or to end, and lets it pause without missing the end.
#ifndef UTIL_RUN_FLAG_H
#define UTIL_RUN_FLAG_H

#include <atomic>
#include <climits>
#include <cstdint>
#include <ctime>
#include <linux/futex.h>
#include <sys/syscall.h>
#include <unistd.h>

// Thread-safe. Waits by the kernel's futex: a thread that does nothing but pause wakes up at no more than the price of a
// sleep, which a condition with its lock and its clock does not.
class RunFlag {
public:
    void Set(bool running) {
        m_nRunning = running ? 1 : 0;
        syscall(SYS_futex, &m_nRunning, FUTEX_WAKE_PRIVATE, INT_MAX, nullptr, nullptr, 0);
    }

    bool IsSet() const { return m_nRunning != 0; }

    // Returns after this long, or as soon as the flag is not set. As with any sleep, a signal handler cuts it short.
    void Pause(long microseconds) {
        constexpr long US_PER_SECOND = 1000000;
        constexpr long NS_PER_US = 1000;
        const timespec time = {microseconds / US_PER_SECOND, microseconds % US_PER_SECOND * NS_PER_US};
        syscall(SYS_futex, &m_nRunning, FUTEX_WAIT_PRIVATE, 1, &time, nullptr, 0);
    }

private:
    std::atomic<uint32_t> m_nRunning{0}; // 0 or 1: what the kernel compares
    static_assert(sizeof(std::atomic<uint32_t>) == 4 && std::atomic<uint32_t>::is_always_lock_free, "a futex word");
};

#endif
