#undef _FORTIFY_SOURCE // whose inline functions have the names of those defined here

#include "bench/SystemCalls.h"

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <dlfcn.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <unistd.h>

namespace {

constexpr long MS_PER_SECOND = 1000, US_PER_MS = 1000, NS_PER_MS = 1000000;
constexpr time_t HOUR_SECONDS = 3600;
constexpr size_t MAX_TIMERS = 16;

struct Timer {
    timer_t id;
    sigevent event;
    bool armed;
};

bool s_Skipped = false;
long s_AheadMs = 0;
Timer s_Timers[MAX_TIMERS];
size_t s_TimerCount = 0;
uintptr_t s_NextId = 1;
const std::vector<uint8_t>* s_Received = nullptr;

template <typename Function> Function Next(const char* name) {
    return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

void MoveOn(time_t& seconds, long& parts, long partsPerMs) {
    parts += s_AheadMs % MS_PER_SECOND * partsPerMs;
    seconds += s_AheadMs / MS_PER_SECOND + parts / (MS_PER_SECOND * partsPerMs);
    parts %= MS_PER_SECOND * partsPerMs;
}

Timer* Find(timer_t id) {
    return std::find_if(s_Timers, s_Timers + s_TimerCount, [id](const Timer& timer) { return timer.id == id; });
}

} // namespace

namespace system_calls {

void Skip(bool skipped) {
    s_Skipped = skipped;
}

void SetReceived(const std::vector<uint8_t>* datagram) {
    s_Received = datagram;
}

void AdvanceClocks(unsigned ms) {
    s_AheadMs += ms;
}

size_t ExpireTimers() {
    sigevent expired[MAX_TIMERS];
    size_t count = 0;
    for (size_t i = 0; i < s_TimerCount; ++i) {
        if (s_Timers[i].armed) {
            s_Timers[i].armed = false;
            expired[count++] = s_Timers[i].event;
        }
    }
    for (size_t i = 0; i < count; ++i) {
        expired[i].sigev_notify_function(expired[i].sigev_value);
    }
    return count;
}

} // namespace system_calls

#define EXPORTED extern "C" __attribute__((visibility("default")))

EXPORTED ssize_t sendto(int fd, const void* data, size_t size, int flags, const sockaddr* to, socklen_t length) {
    if (s_Skipped) {
        return static_cast<ssize_t>(size);
    }
    return syscall(SYS_sendto, fd, data, size, flags, to, length);
}

EXPORTED ssize_t recvfrom(int fd, void* data, size_t size, int flags, sockaddr* from, socklen_t* length) {
    if (s_Skipped) {
        const size_t taken = std::min(size, s_Received->size());
        memcpy(data, s_Received->data(), taken);
        return static_cast<ssize_t>(taken);
    }
    return syscall(SYS_recvfrom, fd, data, size, flags, from, length);
}

EXPORTED int timer_create(clockid_t clock, sigevent* event, timer_t* id) noexcept {
    static const auto next = Next<decltype(&timer_create)>("timer_create");
    if (!s_Skipped && next(clock, event, id) != 0) {
        perror("timer_create");
        _exit(1); // without a timer the engine goes another way
    }
    if (s_Skipped) {
        *id = reinterpret_cast<timer_t>(s_NextId++);
    }
    s_Timers[s_TimerCount++] = {*id, *event, false};
    return 0;
}

EXPORTED int timer_settime(timer_t id, int flags, const itimerspec* value, itimerspec* old) noexcept {
    static const auto next = Next<decltype(&timer_settime)>("timer_settime");
    itimerspec later = *value;
    Find(id)->armed = value->it_value.tv_sec != 0 || value->it_value.tv_nsec != 0;
    if (Find(id)->armed) {
        later.it_value.tv_sec += HOUR_SECONDS;
    }
    return s_Skipped ? 0 : next(id, flags, &later, old);
}

EXPORTED int timer_delete(timer_t id) noexcept {
    static const auto next = Next<decltype(&timer_delete)>("timer_delete");
    *Find(id) = s_Timers[--s_TimerCount];
    return s_Skipped ? 0 : next(id);
}

EXPORTED int gettimeofday(timeval* time, void* zone) noexcept {
    static const auto next = Next<decltype(&gettimeofday)>("gettimeofday");
    const int result = next(time, zone);
    MoveOn(time->tv_sec, time->tv_usec, US_PER_MS);
    return result;
}

EXPORTED int clock_gettime(clockid_t clock, timespec* time) noexcept {
    static const auto next = Next<decltype(&clock_gettime)>("clock_gettime");
    const int result = next(clock, time);
    if (clock == CLOCK_MONOTONIC) {
        MoveOn(time->tv_sec, time->tv_nsec, NS_PER_MS);
    }
    return result;
}
