// Real timers. Compiled twice: for the C library's timers (VRNTimer), and for timers that keep a thread each, as on the
// target (VRNTimerOnThreads).
#include "util/VRNTimer.h"

#include "tests/support/LogCapture.h"
#include "tests/support/WaitUntil.h"
#include "util/VRNMutex.h"

#include <gtest/gtest.h>

#include <atomic>
#include <climits>
#include <fstream>
#include <future>
#include <memory>
#include <sys/resource.h>

#ifdef VRN_THREAD_TIMERS
#define TIMER_SUITE VRNTimerOnThreads
#else
#define TIMER_SUITE VRNTimer
#endif

namespace {

using namespace std::chrono_literals;

// What the platform still holds for timers: a line each here, or a thread each.
int PlatformTimers() {
#ifdef VRN_THREAD_TIMERS
    std::ifstream file("/proc/self/status");
    const std::string key = "Threads:";
#else
    std::ifstream file("/proc/self/timers");
    const std::string key = "ID:";
#endif
    int count = 0;
    for (std::string line; std::getline(file, line);) {
        if (line.rfind(key, 0) == 0) {
            count = key == "ID:" ? count + 1 : std::stoi(line.substr(key.size()));
        }
    }
    return count;
}

void CountExpiry(sigval argument) {
    ++*static_cast<std::atomic<int>*>(argument.sival_ptr);
}

// What VRNCancelTimer, VRNDeleteTimer and a new VRNStartTimer do alike: they void an arming.
void Void(HObject timer, int how, VRNTimerCallback callback, void* argument) {
    switch (how % 3) {
    case 0:
        EXPECT_TRUE(VRNCancelTimer(timer));
        break;
    case 1:
        EXPECT_TRUE(VRNDeleteTimer(timer));
        break;
    default:
        EXPECT_TRUE(VRNStartTimer(timer, ULONG_MAX, callback, argument));
    }
}

// A callback that stays until it is let go, and tells what it saw.
struct Visit {
    static void Callback(sigval argument) {
        Visit& visit = *static_cast<Visit*>(argument.sival_ptr);
        visit.wasCurrent = VRNExpiryIsCurrent();
        visit.entered = true;
        WaitUntil([&visit] { return visit.mayLeave.load(); });
        visit.isCurrent = VRNExpiryIsCurrent();
        VRNWaitForCallbacks(&visit); // not for itself
        visit.left = true;
    }
    std::atomic<bool> entered{false};
    std::atomic<bool> mayLeave{false};
    std::atomic<bool> left{false};
    std::atomic<bool> wasCurrent{false};
    std::atomic<bool> isCurrent{false};
};

// What a timer works for: once it has voided the arming, under its lock, no callback may get through.
struct Owner {
    static void Callback(sigval argument) {
        Owner& owner = *static_cast<Owner*>(argument.sival_ptr);
        VRNLock lock(owner.mutex);
        if (VRNExpiryIsCurrent()) {
            owner.lateExpiries += owner.isOver ? 1 : 0;
            ++owner.expiries;
        }
    }
    VRNMutex mutex;
    bool isOver VRN_GUARDED_BY(mutex) = false;
    int expiries VRN_GUARDED_BY(mutex) = 0;
    int lateExpiries VRN_GUARDED_BY(mutex) = 0;
};

} // namespace

TEST(TIMER_SUITE, FiresOnceAndNotBeforeItsTime) {
    std::atomic<int> fired{0};
    const HObject timer = VRNCreateTimer();
    const auto start = std::chrono::steady_clock::now();
    EXPECT_TRUE(VRNStartTimer(timer, 1050, CountExpiry, &fired)); // seconds and nanoseconds
    EXPECT_TRUE(WaitUntil([&fired] { return fired == 1; }));
    EXPECT_GE(std::chrono::steady_clock::now() - start, 1045ms);
    EXPECT_TRUE(VRNStartTimer(timer, 1, CountExpiry, &fired));
    EXPECT_TRUE(WaitUntil([&fired] { return fired == 2; }));
    EXPECT_TRUE(StaysFalse([&fired] { return fired > 2; }, 100ms));
    VRNDeleteTimer(timer);
}

TEST(TIMER_SUITE, DurationsOfNothingAndPastTheEndOfTheClockNeverFire) {
    std::atomic<int> fired{0};
    const HObject timer = VRNCreateTimer();
    for (const unsigned long never : {0UL, 1UL << 33, ULONG_MAX - 5, ULONG_MAX}) {
        EXPECT_TRUE(VRNStartTimer(timer, never, CountExpiry, &fired)) << never;
        EXPECT_TRUE(StaysFalse([&fired] { return fired > 0; }, 50ms)) << never;
    }
    EXPECT_TRUE(VRNDeleteTimer(timer));
}

TEST(TIMER_SUITE, UnarmedAndForgottenHandlesDoNoHarm) {
    LogCapture log;
    const HObject timer = VRNCreateTimer();
    EXPECT_TRUE(VRNCancelTimer(timer));
    EXPECT_TRUE(VRNDeleteTimer(timer));
    EXPECT_NE(timer, VRNCreateTimer()) << "a handle came back";
    for (const HObject stale : {timer, VRN_NO_TIMER, HObject(0)}) {
        EXPECT_FALSE(VRNStartTimer(stale, 1, CountExpiry, nullptr));
        EXPECT_TRUE(VRNCancelTimer(stale));
        EXPECT_TRUE(VRNDeleteTimer(stale));
    }
    EXPECT_EQ(std::vector<std::string>(), log.Lines());
}

// The arming is voided around the moment of its expiry, before and after; then its owner ends, as soon as it may.
TEST(TIMER_SUITE, NoExpiryGetsThroughOnceItsArmingIsVoid) {
    int fired = 0;
    int late = 0;
    constexpr int ROUNDS = 600;
    for (int round = 0; round < ROUNDS; ++round) {
        auto owner = std::make_unique<Owner>();
        const HObject timer = VRNCreateTimer();
        ASSERT_TRUE(VRNStartTimer(timer, 1, Owner::Callback, owner.get()));
        std::this_thread::sleep_for(std::chrono::microseconds(850 + round % 50 * 8));
        {
            VRNLock lock(owner->mutex);
            Void(timer, round, Owner::Callback, owner.get());
            owner->isOver = true;
        }
        std::this_thread::sleep_for(std::chrono::microseconds(round % 7 * 20));
        VRNDeleteTimer(timer);
        VRNWaitForCallbacks(owner.get());
        VRNLock lock(owner->mutex);
        fired += owner->expiries;
        late += owner->lateExpiries;
    }
    EXPECT_EQ(0, late);
    RecordProperty("fired_before_it_was_void", fired);
}

TEST(TIMER_SUITE, ACallbackUnderWayIsWaitedForAndLearnsThatItsArmingIsVoid) {
    EXPECT_TRUE(VRNExpiryIsCurrent()) << "outside any callback";
    for (int how = 0; how < 4; ++how) {
        Visit visit;
        const HObject timer = VRNCreateTimer();
        VRNStartTimer(timer, 1, Visit::Callback, &visit);
        EXPECT_TRUE(WaitUntil([&visit] { return visit.entered.load(); }));
        if (how < 3) {
            Void(timer, how, Visit::Callback, &visit);
        }
        VRNWaitForCallbacks(&timer); // another argument's: there is none
        auto wait = std::async(std::launch::async, [&visit] {
            VRNWaitForCallbacks(&visit);
            return visit.left.load();
        });
        EXPECT_EQ(std::future_status::timeout, wait.wait_for(30ms));
        visit.mayLeave = true;
        EXPECT_TRUE(wait.get());
        EXPECT_TRUE(visit.wasCurrent);
        EXPECT_EQ(how == 3, visit.isCurrent) << how;
        VRNDeleteTimer(timer);
    }
}

TEST(TIMER_SUITE, OneHandleHoldsAtMostOnePlatformTimer) {
    std::atomic<int> fired{0};
    const HObject warmUp = VRNCreateTimer(); // the C library starts its own thread with the first
    VRNStartTimer(warmUp, ULONG_MAX, CountExpiry, &fired);
    const int before = PlatformTimers();
    ASSERT_GE(before, 1) << "nothing to count here";
    const HObject timer = VRNCreateTimer();
    for (int arming = 0; arming < 3000; ++arming) {
        ASSERT_TRUE(VRNStartTimer(timer, arming % 2 == 0 ? 1 : 60000, CountExpiry, &fired));
        if (arming % 5 == 0) {
            VRNCancelTimer(timer);
        }
    }
    EXPECT_TRUE(WaitUntil([before] { return PlatformTimers() <= before + 1; })) << PlatformTimers() - before;
    VRNDeleteTimer(timer);
    EXPECT_TRUE(WaitUntil([before] { return PlatformTimers() <= before; })) << PlatformTimers() - before;
    VRNDeleteTimer(warmUp);
    VRNWaitForCallbacks(&fired);
}

#ifndef VRN_THREAD_TIMERS
TEST(VRNTimer, WithoutAPlatformTimerLeftItFailsWithALineAndVoidsTheEarlierArming) {
    std::atomic<int> fired{0};
    const HObject timer = VRNCreateTimer();
    EXPECT_TRUE(VRNStartTimer(timer, 300, CountExpiry, &fired));
    rlimit before{};
    getrlimit(RLIMIT_SIGPENDING, &before);
    const rlimit none = {0, before.rlim_max};
    LogCapture log;
    setrlimit(RLIMIT_SIGPENDING, &none);
    EXPECT_FALSE(VRNStartTimer(timer, 1, CountExpiry, &fired));
    setrlimit(RLIMIT_SIGPENDING, &before);
    EXPECT_EQ(std::vector<std::string>{"*)(): Fail create timer\n"}, log.Lines());
    EXPECT_TRUE(VRNCancelTimer(timer));
    EXPECT_TRUE(StaysFalse([&fired] { return fired > 0; }, 400ms));
    EXPECT_TRUE(VRNStartTimer(timer, 1, CountExpiry, &fired));
    EXPECT_TRUE(WaitUntil([&fired] { return fired == 1; }));
    VRNDeleteTimer(timer);
    VRNWaitForCallbacks(&fired);
}
#endif
