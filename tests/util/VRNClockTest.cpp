#include "util/VRNClock.h"

#include <gtest/gtest.h>

#include <atomic>
#include <sys/time.h>

// What gettimeofday tells, or that it fails.
static std::atomic<bool> s_bFails{false};
static std::atomic<int64_t> s_nSeconds{0}, s_nMicroseconds{0};

static void SetTime(int64_t seconds, int64_t microseconds) {
    s_nSeconds = seconds;
    s_nMicroseconds = microseconds;
}

// In place of the C library's.
extern "C" __attribute__((visibility("default"))) int gettimeofday(timeval* time, void*) noexcept {
    *time = {s_nSeconds, s_nMicroseconds};
    return s_bFails ? -1 : 0;
}

TEST(VRNClock, TicksAreMillisecondsSinceTheLastResetAndWrap) {
    SetTime(1700000000, 123999);
    EXPECT_EQ(1700000000123U, VRNResetAndGetTime());
    EXPECT_EQ(0U, VRNGetTickCount());
    SetTime(1700000002, 124000);
    EXPECT_EQ(2001U, VRNGetTickCount());
    SetTime(1700000000 + 4294967, 296000 + 123000 + 5000); // 2^32 ms later, and 5
    EXPECT_EQ(5U, VRNGetTickCount());
    SetTime(1700000000, 122000); // set back by 1 ms
    EXPECT_EQ(0xFFFFFFFFU, VRNGetTickCount());
    EXPECT_EQ(16U, VRNDiffTime(6, 0xFFFFFFF6U));
}

TEST(VRNClock, AFailingPlatformClockLeavesTheBaseAndStandsStill) {
    SetTime(1700000000, 0);
    VRNResetAndGetTime();
    SetTime(1700000001, 0);
    VRNGetTickCount();
    s_bFails = true;
    EXPECT_EQ(1000U, VRNGetTickCount());
    unsigned int seconds = 1, fraction = 2;
    EXPECT_EQ(-1, VRNGetNTPTime(&seconds, &fraction));
    EXPECT_TRUE(seconds == 1 && fraction == 2);
    EXPECT_EQ(0U, VRNResetAndGetTime());
    s_bFails = false;
    SetTime(1700000003, 0);
    EXPECT_EQ(3000U, VRNGetTickCount());
}

TEST(VRNClock, NtpTimeCountsFrom1900InUnitsOf2ToTheMinus32Seconds) {
    const struct {
        int64_t unixSeconds, microseconds;
        unsigned int seconds, fraction;
    } table[] = {
        {0, 1, 0x83AA7E80, 4294},
        {1700000000, 999999, 3908988800U, 4294963001U},
        {2085978496, 250000, 0, 0x40000000}, // the count wraps in February 2036
    };
    for (const auto& row : table) {
        SetTime(row.unixSeconds, row.microseconds);
        unsigned int seconds = 1, fraction = 1;
        EXPECT_EQ(0, VRNGetNTPTime(&seconds, &fraction));
        EXPECT_TRUE(row.seconds == seconds && row.fraction == fraction) << seconds << " " << fraction;
    }
}
