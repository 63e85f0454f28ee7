#include "util/VRNClock.h"

#include "tests/support/LogCapture.h"

#include <gtest/gtest.h>

#include <atomic>
#include <ctime>
#include <sys/time.h>

namespace {

// What gettimeofday tells, in microseconds since the epoch; or that it fails; or, to the rest of the program, the truth.
constexpr int64_t FAILING = -1;
constexpr int64_t REAL = -2;
std::atomic<int64_t> s_nNow{REAL};

class VRNClock : public ::testing::Test {
protected:
    ~VRNClock() override { s_nNow = REAL; }
    static void SetTime(int64_t seconds, int64_t microseconds) { s_nNow = seconds * 1000000 + microseconds; }
};

} // namespace

// In place of the C library's.
extern "C" __attribute__((visibility("default"))) int gettimeofday(timeval* time, void*) noexcept {
    timespec real{};
    clock_gettime(CLOCK_REALTIME, &real);
    const int64_t now = s_nNow == REAL ? real.tv_sec * 1000000 + real.tv_nsec / 1000 : s_nNow.load();
    *time = {now / 1000000, now % 1000000};
    return now == FAILING ? -1 : 0;
}

TEST_F(VRNClock, TicksAreMillisecondsSinceTheLastReset) {
    static bool s_bWasReset = false;
    SetTime(1700000000, 123999);
    if (!s_bWasReset) {
        EXPECT_EQ(static_cast<uint32_t>(1700000000123U), VRNGetTickCount()) << "before any reset: since the epoch";
    }
    s_bWasReset = true;
    EXPECT_EQ(1700000000123U, VRNResetAndGetTime());
    EXPECT_EQ(0U, VRNGetTickCount());
    SetTime(1700000002, 124000);
    EXPECT_EQ(2001U, VRNGetTickCount());
    SetTime(1700000000 + 4294967, 296000 + 123000 + 5000); // 2^32 ms later, and 5
    EXPECT_EQ(5U, VRNGetTickCount());
    SetTime(1700000000, 122000); // set back by 1 ms
    EXPECT_EQ(0xFFFFFFFFU, VRNGetTickCount());
}

TEST_F(VRNClock, AFailingPlatformClockLeavesTheBaseAndStandsStill) {
    SetTime(1700000000, 0);
    VRNResetAndGetTime();
    SetTime(1700000001, 0);
    EXPECT_EQ(1000U, VRNGetTickCount());
    LogCapture log;
    s_nNow = FAILING;
    EXPECT_EQ(0U, VRNResetAndGetTime());
    EXPECT_EQ(std::vector<std::string>{"VRNResetAndGetTime(): gettimeofday is failed\n"}, log.Lines());
    EXPECT_EQ(1000U, VRNGetTickCount());
    unsigned int seconds = 1, fraction = 2;
    EXPECT_EQ(-1, VRNGetNTPTime(&seconds, &fraction));
    EXPECT_TRUE(seconds == 1 && fraction == 2);
    SetTime(1700000003, 0);
    EXPECT_EQ(3000U, VRNGetTickCount());
}

TEST_F(VRNClock, NtpTimeCountsFrom1900InUnitsOf2ToTheMinus32Seconds) {
    const struct {
        int64_t unixSeconds, microseconds;
        unsigned int seconds, fraction;
    } table[] = {
        {0, 0, 0x83AA7E80, 0},
        {0, 500000, 0x83AA7E80, 0x80000000},
        {0, 1, 0x83AA7E80, 4294},
        {1700000000, 999999, 3908988800U, 4294963001U},
        {2085978495, 0, 0xFFFFFFFF, 0}, // the last second before the count wraps, in February 2036
        {2085978496, 250000, 0, 0x40000000},
    };
    for (const auto& row : table) {
        SetTime(row.unixSeconds, row.microseconds);
        unsigned int seconds = 0, fraction = 0;
        EXPECT_EQ(0, VRNGetNTPTime(&seconds, &fraction));
        EXPECT_EQ(row.seconds, seconds);
        EXPECT_EQ(row.fraction, fraction);
    }
}

TEST_F(VRNClock, DifferencesWrap) {
    EXPECT_EQ(4294967291U, VRNDiffTime(5, 10));
    EXPECT_EQ(16U, VRNDiffTime(6, 0xFFFFFFF6U));
}
