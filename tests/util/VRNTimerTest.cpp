// Real timers. Compiled twice: for the C library's timers (VRNTimer), and for timers that keep a thread each, as on the
// target (VRNTimerOnThreads).
#include "util/VRNTimer.h"

#include "tests/support/WaitUntil.h"
#include "util/VRNMutex.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <climits>
#include <filesystem>
#include <fstream>
#include <future>

#ifdef VRN_THREAD_TIMERS
#define TIMER_SUITE VRNTimerOnThreads
#else
#define TIMER_SUITE VRNTimer
#endif

namespace {

using namespace std::chrono_literals;

// What the platform still holds for timers: a "ClockID" line each here, or a thread each.
std::ptrdiff_t PlatformTimers() {
#ifdef VRN_THREAD_TIMERS
    return std::distance(std::filesystem::directory_iterator("/proc/self/task"), {});
#else
    std::ifstream file("/proc/self/timers");
    return std::count(std::istreambuf_iterator<char>(file), {}, 'C');
#endif
}

void CountExpiry(sigval argument) {
    ++*static_cast<std::atomic<int>*>(argument.sival_ptr);
}

// What VRNCancelTimer, VRNDeleteTimer and a new VRNStartTimer do alike: they void an arming.
bool Void(HObject timer, int how, VRNTimerCallback callback, void* argument) {
    return how == 0   ? VRNCancelTimer(timer)
           : how == 1 ? VRNDeleteTimer(timer)
                      : VRNStartTimer(timer, ULONG_MAX, callback, argument);
}

// A callback that stays until it is let go, and tells what it saw.
struct Visit {
    static void Callback(sigval argument) {
        Visit& visit = *static_cast<Visit*>(argument.sival_ptr);
        visit.entered = VRNExpiryIsCurrent();
        WaitUntil([&visit] { return visit.mayLeave.load(); });
        visit.isCurrent = VRNExpiryIsCurrent();
        VRNWaitForCallbacks(&visit); // not for itself
        visit.left = true;
    }
    std::atomic<bool> entered{false}, mayLeave{false}, left{false}, isCurrent{false};
};

// What a timer works for: once it has voided the arming, under its lock, no callback may get through.
struct Owner {
    static void Callback(sigval argument) {
        Owner& owner = *static_cast<Owner*>(argument.sival_ptr);
        VRNLock lock(owner.mutex);
        EXPECT_FALSE(VRNExpiryIsCurrent() && owner.isOver);
    }
    VRNMutex mutex;
    bool isOver VRN_GUARDED_BY(mutex) = false;
};

} // namespace

TEST(TIMER_SUITE, FiresOnceAndNotBeforeItsTime) {
    std::atomic<int> fired{0};
    const HObject timer = VRNCreateTimer();
    const auto start = std::chrono::steady_clock::now();
    EXPECT_TRUE(VRNStartTimer(timer, 1050, CountExpiry, &fired)); // seconds and nanoseconds
    EXPECT_TRUE(WaitUntil([&fired] { return fired > 0; }));
    EXPECT_GE(std::chrono::steady_clock::now() - start, 1045ms);
    for (const unsigned long never : {0UL, 1UL << 33, ULONG_MAX - 5, ULONG_MAX}) { // past the end of the clock
        EXPECT_TRUE(VRNStartTimer(timer, never, CountExpiry, &fired)) << never;
        EXPECT_TRUE(StaysFalse([&fired] { return fired > 1; }, 50ms)) << never;
    }
    VRNDeleteTimer(timer);
    EXPECT_NE(timer, VRNCreateTimer()) << "a handle came back";
    for (const HObject stale : {timer, VRN_NO_TIMER, HObject(0)}) {
        EXPECT_FALSE(VRNStartTimer(stale, 1, CountExpiry, nullptr));
        EXPECT_TRUE(VRNCancelTimer(stale) && VRNDeleteTimer(stale));
    }
}

// The arming is voided around the moment of its expiry, before and after; then its owner ends, as soon as it may.
TEST(TIMER_SUITE, NoExpiryGetsThroughOnceItsArmingIsVoid) {
    for (int round = 0; round < 600; ++round) {
        Owner owner;
        const HObject timer = VRNCreateTimer();
        ASSERT_TRUE(VRNStartTimer(timer, 1, Owner::Callback, &owner));
        std::this_thread::sleep_for(std::chrono::microseconds(850 + round % 50 * 8));
        {
            VRNLock lock(owner.mutex);
            EXPECT_TRUE(Void(timer, round % 3, Owner::Callback, &owner));
            owner.isOver = true;
        }
        std::this_thread::sleep_for(std::chrono::microseconds(round % 7 * 20));
        VRNDeleteTimer(timer);
        VRNWaitForCallbacks(&owner);
    }
}

TEST(TIMER_SUITE, ACallbackUnderWayIsWaitedForAndLearnsThatItsArmingIsVoid) {
    EXPECT_TRUE(VRNExpiryIsCurrent()) << "outside any callback";
    for (int how = 0; how < 4; ++how) { // the last voids nothing
        Visit visit;
        const HObject timer = VRNCreateTimer();
        VRNStartTimer(timer, 1, Visit::Callback, &visit);
        EXPECT_TRUE(WaitUntil([&visit] { return visit.entered.load(); }));
        EXPECT_TRUE(how == 3 || Void(timer, how, Visit::Callback, &visit));
        VRNWaitForCallbacks(&timer); // another argument's: there is none
        auto wait = std::async(std::launch::async, [&visit] {
            VRNWaitForCallbacks(&visit);
            return visit.left.load();
        });
        EXPECT_EQ(std::future_status::timeout, wait.wait_for(30ms));
        visit.mayLeave = true;
        EXPECT_TRUE(wait.get());
        EXPECT_EQ(how == 3, visit.isCurrent) << how;
        VRNDeleteTimer(timer);
    }
}

TEST(TIMER_SUITE, OneHandleHoldsAtMostOnePlatformTimer) {
    std::atomic<int> fired{0};
    VRNStartTimer(VRNCreateTimer(), ULONG_MAX, CountExpiry, &fired); // with the first the C library starts a thread
    const auto before = PlatformTimers();
    ASSERT_GE(before, 1) << "nothing to count here";
    const HObject timer = VRNCreateTimer();
    for (int arming = 0; arming < 3000; ++arming) {
        ASSERT_TRUE(VRNStartTimer(timer, arming % 2 == 0 ? 1 : 60000, CountExpiry, &fired));
        EXPECT_TRUE(arming % 5 != 0 || VRNCancelTimer(timer));
    }
    EXPECT_TRUE(WaitUntil([before] { return PlatformTimers() <= before + 1; })) << PlatformTimers() - before;
    VRNDeleteTimer(timer);
    EXPECT_TRUE(WaitUntil([before] { return PlatformTimers() <= before; })) << PlatformTimers() - before;
    VRNWaitForCallbacks(&fired);
}
