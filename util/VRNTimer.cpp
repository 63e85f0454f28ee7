#include "util/VRNTimer.h"

#include "util/VRNLog.h"
#include "util/VRNMutex.h"

#include <algorithm>
#include <ctime>
#include <map>
#include <vector>

namespace {

constexpr unsigned long MS_PER_SECOND = 1000;
constexpr long NS_PER_MS = 1000000;
constexpr uint64_t NEVER = UINT64_MAX;

// An expiry this much before its time is let through: one lost would end a chain of ticks, one early does no harm.
constexpr uint64_t EARLY_MS = 2;

// A timer's number and generation travel in one pointer-sized value.
static_assert(sizeof(void*) == 8 && sizeof(HObject) == 8, "an arming is packed into 64 bits");
constexpr unsigned GENERATION_BITS = 32;

struct Timer {
    bool m_bCreated = false; // true while m_Id is a platform timer
    timer_t m_Id{};
    uint32_t m_nGeneration = 0;
    VRNTimerCallback m_pCallback = nullptr;
    void* m_pArgument = nullptr;
    uint64_t m_nDue = NEVER; // of the arming, on the monotonic clock; NEVER once it has expired
};

uint64_t MonotonicMs() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<uint64_t>(now.tv_sec) * MS_PER_SECOND + static_cast<uint64_t>(now.tv_nsec / NS_PER_MS);
}

// A callback under way, on the stack of its thread.
struct Expiry {
    HObject m_hTimer;
    uint32_t m_nGeneration;
    void* m_pArgument;
};

thread_local const Expiry* t_pExpiry = nullptr;

// Every timer there is and every callback under way. Thread-safe. Never destroyed: callbacks may come while the process
// ends.
class TimerRegistry {
public:
    static TimerRegistry& Instance() {
        static TimerRegistry& registry = *new TimerRegistry;
        return registry;
    }

    HObject Create();
    enum class StartResult { Armed, NoSuchTimer, CreateFailed, SetTimeFailed };
    StartResult Start(HObject handle, unsigned long ms, VRNTimerCallback callback, void* argument);
    bool Cancel(HObject handle);
    void Delete(HObject handle);
    void RunExpiry(sigval arming);
    bool IsCurrent(const Expiry& expiry);
    void WaitFor(const void* argument);

private:
    void Retire(Timer& timer) VRN_REQUIRES(m_Mutex);
    bool CurrentLocked(const Expiry& expiry) VRN_REQUIRES(m_Mutex);
    bool RunsElsewhere(const void* argument) VRN_REQUIRES(m_Mutex);

    VRNMutex m_Mutex;
    VRNCondition m_Idle; // signalled when a callback ends
    std::map<HObject, Timer> m_Timers VRN_GUARDED_BY(m_Mutex);
    std::vector<const Expiry*> m_Running VRN_GUARDED_BY(m_Mutex);
    HObject m_hNext VRN_GUARDED_BY(m_Mutex) = 1;
};

sigval PackArming(HObject handle, uint32_t generation) {
    sigval arming{};
    arming.sival_ptr = reinterpret_cast<void*>((handle << GENERATION_BITS) | generation);
    return arming;
}

void OnTimerExpired(sigval arming) {
    TimerRegistry::Instance().RunExpiry(arming);
}

HObject TimerRegistry::Create() {
    VRNLock lock(m_Mutex);
    const HObject handle = m_hNext++;
    m_Timers.emplace(handle, Timer());
    return handle;
}

// One handle has at most one platform timer: on the target each keeps a thread, and everywhere a slot of the user's
// pending signals, until it is deleted.
void TimerRegistry::Retire(Timer& timer) {
    ++timer.m_nGeneration;
    if (timer.m_bCreated) {
        timer_delete(timer.m_Id);
        timer.m_bCreated = false;
    }
}

TimerRegistry::StartResult TimerRegistry::Start(HObject handle, unsigned long ms, VRNTimerCallback callback,
                                                void* argument) {
    VRNLock lock(m_Mutex);
    const auto found = m_Timers.find(handle);
    if (found == m_Timers.end()) {
        return StartResult::NoSuchTimer;
    }
    Timer& timer = found->second;
    Retire(timer);
    timer.m_pCallback = callback;
    timer.m_pArgument = argument;
    const uint64_t now = MonotonicMs();
    timer.m_nDue = (ms != 0 && ms < NEVER - now - EARLY_MS) ? now + ms : NEVER;

    sigevent event{};
    event.sigev_notify = SIGEV_THREAD;
    event.sigev_notify_function = OnTimerExpired;
    event.sigev_value = PackArming(handle, timer.m_nGeneration);
    if (timer_create(CLOCK_REALTIME, &event, &timer.m_Id) != 0) {
        return StartResult::CreateFailed;
    }
    itimerspec expiry{};
    expiry.it_value.tv_sec = static_cast<time_t>(ms / MS_PER_SECOND);
    expiry.it_value.tv_nsec = static_cast<long>(ms % MS_PER_SECOND) * NS_PER_MS;
    if (timer_settime(timer.m_Id, 0, &expiry, nullptr) != 0) {
        timer_delete(timer.m_Id);
        return StartResult::SetTimeFailed;
    }
    timer.m_bCreated = true;
    return StartResult::Armed;
}

bool TimerRegistry::Cancel(HObject handle) {
    VRNLock lock(m_Mutex);
    const auto found = m_Timers.find(handle);
    if (found == m_Timers.end()) {
        return true;
    }
    Timer& timer = found->second;
    ++timer.m_nGeneration;
    const itimerspec disarmed{};
    return !timer.m_bCreated || timer_settime(timer.m_Id, 0, &disarmed, nullptr) == 0;
}

void TimerRegistry::Delete(HObject handle) {
    VRNLock lock(m_Mutex);
    const auto found = m_Timers.find(handle);
    if (found != m_Timers.end()) {
        Retire(found->second);
        m_Timers.erase(found);
    }
}

bool TimerRegistry::CurrentLocked(const Expiry& expiry) {
    const auto found = m_Timers.find(expiry.m_hTimer);
    return found != m_Timers.end() && found->second.m_nGeneration == expiry.m_nGeneration;
}

bool TimerRegistry::IsCurrent(const Expiry& expiry) {
    VRNLock lock(m_Mutex);
    return CurrentLocked(expiry);
}

void TimerRegistry::RunExpiry(sigval arming) {
    const uintptr_t packed = reinterpret_cast<uintptr_t>(arming.sival_ptr);
    Expiry expiry{packed >> GENERATION_BITS, static_cast<uint32_t>(packed), nullptr};
    VRNTimerCallback callback = nullptr;
    {
        VRNLock lock(m_Mutex);
        if (!CurrentLocked(expiry)) {
            return;
        }
        // glibc knows a timer by an address that a new timer can inherit: what comes before its time, or again, is
        // the expiry of an earlier one.
        Timer& timer = m_Timers.find(expiry.m_hTimer)->second;
        if (timer.m_nDue == NEVER || MonotonicMs() + EARLY_MS < timer.m_nDue) {
            return;
        }
        timer.m_nDue = NEVER;
        callback = timer.m_pCallback;
        expiry.m_pArgument = timer.m_pArgument;
        m_Running.push_back(&expiry);
    }
    t_pExpiry = &expiry;
    sigval argument{};
    argument.sival_ptr = expiry.m_pArgument;
    callback(argument);
    t_pExpiry = nullptr;
    VRNLock lock(m_Mutex);
    m_Running.erase(std::find(m_Running.begin(), m_Running.end(), &expiry));
    m_Idle.Broadcast();
}

bool TimerRegistry::RunsElsewhere(const void* argument) {
    return std::any_of(m_Running.begin(), m_Running.end(), [argument](const Expiry* expiry) {
        return expiry->m_pArgument == argument && expiry != t_pExpiry;
    });
}

void TimerRegistry::WaitFor(const void* argument) {
    VRNLock lock(m_Mutex);
    while (RunsElsewhere(argument)) {
        m_Idle.Wait(m_Mutex);
    }
}

} // namespace

HObject VRNCreateTimer() {
    return TimerRegistry::Instance().Create();
}

// Lines are logged here, with the registry unlocked: the log may be the host's own.
bool VRNStartTimer(HObject timer, unsigned long ms, VRNTimerCallback callback, void* argument) {
    const auto result = TimerRegistry::Instance().Start(timer, ms, callback, argument);
    if (result == TimerRegistry::StartResult::CreateFailed) {
        VRN_LOG(VRN_LOG_FAILURE, "%s: Fail create timer\n");
    } else if (result == TimerRegistry::StartResult::SetTimeFailed) {
        VRN_LOG(VRN_LOG_FAILURE, "%s: Fail settime\n");
    }
    return result == TimerRegistry::StartResult::Armed;
}

bool VRNCancelTimer(unsigned long timer) {
    if (!TimerRegistry::Instance().Cancel(timer)) {
        VRN_LOG(VRN_LOG_FAILURE, "%s: Cancel Timer failed\n");
        return false;
    }
    return true;
}

bool VRNDeleteTimer(unsigned long timer) {
    TimerRegistry::Instance().Delete(timer);
    return true;
}

bool VRNExpiryIsCurrent() {
    return t_pExpiry == nullptr || TimerRegistry::Instance().IsCurrent(*t_pExpiry);
}

void VRNWaitForCallbacks(const void* argument) {
    TimerRegistry::Instance().WaitFor(argument);
}
