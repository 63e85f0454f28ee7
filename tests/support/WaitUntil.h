// Waiting for what another thread does.
#ifndef TESTS_SUPPORT_WAIT_UNTIL_H
#define TESTS_SUPPORT_WAIT_UNTIL_H

#include <chrono>
#include <thread>

// True as soon as the condition holds; false when it does not within the limit, which is generous: machines are busy.
template <typename Condition>
bool WaitUntil(Condition condition, std::chrono::milliseconds limit = std::chrono::seconds(20)) {
    const auto end = std::chrono::steady_clock::now() + limit;
    while (!condition()) {
        if (std::chrono::steady_clock::now() >= end) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

// True when the condition does not come to hold for this long.
template <typename Condition> bool StaysFalse(Condition condition, std::chrono::milliseconds time) {
    return !WaitUntil(condition, time);
}

#endif
