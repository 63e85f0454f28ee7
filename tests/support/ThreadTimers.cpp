// timer_create, timer_settime and timer_delete on plain threads: one thread for each timer, from its creation to its
// deletion, as on the target. Linked into test programs instead of the C library's, which thread sanitizers cannot
// follow and which work by another model. A callback can start after its timer was deleted, as everywhere.

#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <csignal>
#include <ctime>
#include <mutex>
#include <pthread.h>

namespace {

using Clock = std::chrono::steady_clock;

struct ThreadTimer {
    std::mutex mutex;
    std::condition_variable changed;
    sigevent event{};
    bool armed = false;
    bool deleted = false;
    Clock::time_point due{};
};

// Waits for the next expiry; false when the timer was deleted.
bool WaitForExpiry(ThreadTimer& timer) {
    std::unique_lock<std::mutex> lock(timer.mutex);
    while (!timer.deleted) {
        if (!timer.armed) {
            timer.changed.wait(lock);
        } else if (Clock::now() >= timer.due) {
            timer.armed = false;
            return true;
        } else {
            timer.changed.wait_until(lock, timer.due);
        }
    }
    return false;
}

void* RunTimer(void* argument) {
    ThreadTimer* timer = static_cast<ThreadTimer*>(argument);
    while (WaitForExpiry(*timer)) {
        timer->event.sigev_notify_function(timer->event.sigev_value);
    }
    delete timer;
    return nullptr;
}

// Durations past the end of the clock never come; saturated, as the kernel does.
Clock::duration Saturated(const timespec& time) {
    constexpr long longest = 10L * 365 * 24 * 3600;
    const long seconds = time.tv_sec < longest ? time.tv_sec : longest;
    return std::chrono::seconds(seconds) + std::chrono::nanoseconds(time.tv_nsec);
}

} // namespace

extern "C" {

__attribute__((visibility("default"))) int timer_create(clockid_t, sigevent* event, timer_t* id) noexcept {
    ThreadTimer* timer = new ThreadTimer;
    timer->event = *event;
    pthread_t thread;
    if (pthread_create(&thread, nullptr, RunTimer, timer) != 0) {
        delete timer;
        errno = EAGAIN;
        return -1;
    }
    pthread_detach(thread);
    *id = timer;
    return 0;
}

__attribute__((visibility("default"))) int timer_settime(timer_t id, int, const itimerspec* value,
                                                         itimerspec*) noexcept {
    ThreadTimer* timer = static_cast<ThreadTimer*>(id);
    std::lock_guard<std::mutex> lock(timer->mutex);
    timer->armed = value->it_value.tv_sec != 0 || value->it_value.tv_nsec != 0;
    timer->due = Clock::now() + Saturated(value->it_value);
    timer->changed.notify_one();
    return 0;
}

__attribute__((visibility("default"))) int timer_delete(timer_t id) noexcept {
    ThreadTimer* timer = static_cast<ThreadTimer*>(id);
    std::lock_guard<std::mutex> lock(timer->mutex);
    timer->deleted = true;
    timer->changed.notify_one();
    return 0;
}

} // extern "C"
