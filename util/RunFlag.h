// Tells a thread to go on or to end, and lets it pause without missing the end.
#ifndef UTIL_RUN_FLAG_H
#define UTIL_RUN_FLAG_H

#include "util/VRNMutex.h"

// Thread-safe.
class RunFlag {
public:
    void Set(bool running) {
        VRNLock lock(m_Mutex);
        m_bRunning = running;
        m_Changed.Broadcast();
    }

    bool IsSet() {
        VRNLock lock(m_Mutex);
        return m_bRunning;
    }

    // Returns after this long, or as soon as the flag is not set.
    void Pause(long microseconds) {
        constexpr long US_PER_SECOND = 1000000;
        constexpr long NS_PER_US = 1000;
        timespec end{};
        clock_gettime(CLOCK_MONOTONIC, &end);
        const long sinceSecond = end.tv_nsec / NS_PER_US + microseconds;
        end.tv_sec += sinceSecond / US_PER_SECOND;
        end.tv_nsec = sinceSecond % US_PER_SECOND * NS_PER_US;
        VRNLock lock(m_Mutex);
        while (m_bRunning && m_Changed.WaitUntil(m_Mutex, end)) {
        }
    }

private:
    VRNMutex m_Mutex;
    VRNCondition m_Changed;
    bool m_bRunning VRN_GUARDED_BY(m_Mutex) = false;
};

#endif
