#include "tests/support/ManualTime.h"

#include "util/VRNClock.h"
#include "util/VRNTimer.h"

#include <map>
#include <mutex>
#include <optional>
#include <utility>

namespace {

struct ManualTimer {
    bool armed = false;
    uint64_t due = 0;
    uint32_t generation = 0;
    VRNTimerCallback callback = nullptr;
    void* argument = nullptr;
};

struct State {
    std::mutex mutex;
    uint64_t now = 0;      // since Reset; what timers run by
    int64_t wallMs = 0;    // wall clock since 1970 when `now` was 0
    uint64_t tickBase = 0; // wall clock at tick 0
    std::optional<std::pair<uint32_t, uint32_t>> ntp;
    size_t failures = 0;
    HObject next = 1;
    std::map<HObject, ManualTimer> timers;
    uint32_t randomNumber = 0;
    std::function<void()> meanwhile;
};

State& S() {
    static State& state = *new State;
    return state;
}

uint64_t Wall(const State& state) {
    return static_cast<uint64_t>(state.wallMs) + state.now;
}

struct Expiry {
    HObject timer;
    uint32_t generation;
};
thread_local const Expiry* t_expiry = nullptr;

// The armed timer that is due first, not after `until`.
HObject FirstDue(State& state, uint64_t until) {
    HObject first = VRN_NO_TIMER;
    for (const auto& [handle, timer] : state.timers) {
        if (timer.armed && timer.due <= until && (first == VRN_NO_TIMER || timer.due < state.timers[first].due)) {
            first = handle;
        }
    }
    return first;
}

// Runs the next timer due by `until`; false when there is none.
bool RunNext(uint64_t until) {
    State& state = S();
    Expiry expiry{};
    ManualTimer timer;
    std::function<void()> meanwhile;
    {
        std::lock_guard<std::mutex> lock(state.mutex);
        expiry.timer = FirstDue(state, until);
        if (expiry.timer == VRN_NO_TIMER) {
            state.now = until;
            return false;
        }
        ManualTimer& due = state.timers[expiry.timer];
        due.armed = false;
        state.now = due.due;
        timer = due;
        meanwhile.swap(state.meanwhile);
    }
    if (meanwhile) {
        meanwhile();
    }
    expiry.generation = timer.generation;
    t_expiry = &expiry;
    sigval value{};
    value.sival_ptr = timer.argument;
    timer.callback(value);
    t_expiry = nullptr;
    return true;
}

} // namespace

namespace manual_time {

void Reset() {
    State& state = S();
    std::lock_guard<std::mutex> lock(state.mutex);
    state.now = 0;
    state.wallMs = 0;
    state.tickBase = 0;
    state.ntp.reset();
    state.failures = 0;
    state.timers.clear();
    state.randomNumber = 0;
    state.meanwhile = nullptr;
}

void SetTick(uint32_t tick) {
    std::lock_guard<std::mutex> lock(S().mutex);
    S().tickBase = Wall(S()) - tick;
}

void StepWallClock(int64_t ms) {
    std::lock_guard<std::mutex> lock(S().mutex);
    S().wallMs += ms;
}

uint64_t Now() {
    std::lock_guard<std::mutex> lock(S().mutex);
    return S().now;
}

uint64_t NextExpiry() {
    State& state = S();
    std::lock_guard<std::mutex> lock(state.mutex);
    const HObject first = FirstDue(state, UINT64_MAX - 1);
    return first == VRN_NO_TIMER ? UINT64_MAX : state.timers[first].due;
}

void Advance(uint64_t ms) {
    uint64_t until = 0;
    {
        std::lock_guard<std::mutex> lock(S().mutex);
        until = S().now + ms;
    }
    while (RunNext(until)) {
    }
}

void SetNtp(uint32_t seconds, uint32_t fraction) {
    std::lock_guard<std::mutex> lock(S().mutex);
    S().ntp = {seconds, fraction};
}

void FailNextStarts(size_t count) {
    std::lock_guard<std::mutex> lock(S().mutex);
    S().failures = count;
}

void BeforeNextExpiry(std::function<void()> meanwhile) {
    std::lock_guard<std::mutex> lock(S().mutex);
    S().meanwhile = std::move(meanwhile);
}

size_t ArmedTimers() {
    std::lock_guard<std::mutex> lock(S().mutex);
    size_t armed = 0;
    for (const auto& entry : S().timers) {
        armed += entry.second.armed ? 1 : 0;
    }
    return armed;
}

size_t LiveTimers() {
    std::lock_guard<std::mutex> lock(S().mutex);
    return S().timers.size();
}

} // namespace manual_time

uint64_t VRNResetAndGetTime() {
    std::lock_guard<std::mutex> lock(S().mutex);
    return S().tickBase = Wall(S());
}

uint32_t VRNGetTickCount() {
    std::lock_guard<std::mutex> lock(S().mutex);
    return static_cast<uint32_t>(Wall(S()) - S().tickBase);
}

long VRNGetTime() {
    return 0;
}

int VRNGetNTPTime(unsigned int* seconds, unsigned int* fraction) {
    std::lock_guard<std::mutex> lock(S().mutex);
    constexpr uint64_t from1900To1970 = 2208988800U;
    const uint64_t wall = Wall(S());
    const uint64_t fractionOfMs = (wall % 1000 << 32) / 1000;
    const auto ntp = S().ntp.value_or(std::pair(wall / 1000 + from1900To1970, fractionOfMs));
    *seconds = static_cast<unsigned int>(ntp.first);
    *fraction = static_cast<unsigned int>(ntp.second);
    return 0;
}

uint32_t VRNDiffTime(unsigned int a, unsigned int b) {
    return a - b;
}

void VRNSeedRand(unsigned int) {}

// 0x11111111, 0x22222222, ...: recognisable in a packet.
int VRNRand() {
    std::lock_guard<std::mutex> lock(S().mutex);
    S().randomNumber += 0x11111111;
    return static_cast<int>(S().randomNumber);
}

HObject VRNCreateTimer() {
    std::lock_guard<std::mutex> lock(S().mutex);
    const HObject handle = S().next++;
    S().timers[handle] = ManualTimer();
    return handle;
}

bool VRNStartTimer(HObject handle, unsigned long ms, VRNTimerCallback callback, void* argument) {
    State& state = S();
    std::lock_guard<std::mutex> lock(state.mutex);
    const auto found = state.timers.find(handle);
    if (found == state.timers.end()) {
        return false;
    }
    ManualTimer& timer = found->second;
    ++timer.generation;
    timer.armed = false;
    if (state.failures > 0) {
        --state.failures;
        return false;
    }
    const uint64_t farAway = UINT64_MAX / 2; // a duration that never ends
    timer.armed = ms != 0;
    timer.due = ms < farAway ? state.now + ms : UINT64_MAX;
    timer.callback = callback;
    timer.argument = argument;
    return true;
}

bool VRNCancelTimer(unsigned long handle) {
    std::lock_guard<std::mutex> lock(S().mutex);
    const auto found = S().timers.find(handle);
    if (found != S().timers.end()) {
        ++found->second.generation;
        found->second.armed = false;
    }
    return true;
}

bool VRNDeleteTimer(unsigned long handle) {
    std::lock_guard<std::mutex> lock(S().mutex);
    S().timers.erase(handle);
    return true;
}

bool VRNExpiryIsCurrent() {
    if (t_expiry == nullptr) {
        return true;
    }
    std::lock_guard<std::mutex> lock(S().mutex);
    const auto found = S().timers.find(t_expiry->timer);
    return found != S().timers.end() && found->second.generation == t_expiry->generation;
}

// Callbacks run on the thread that moves the clock, so none is under way elsewhere.
void VRNWaitForCallbacks(const void*) {}
