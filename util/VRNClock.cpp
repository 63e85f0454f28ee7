#include "util/VRNClock.h"

#include "util/VRNLog.h"

#include <atomic>
#include <cstdlib>
#include <ctime>
#include <sys/time.h>

namespace {

constexpr uint64_t MS_PER_SECOND = 1000;
constexpr uint64_t US_PER_MS = 1000;
constexpr uint64_t NTP_UNIX_OFFSET = 2208988800U; // seconds from 1900 to 1970
constexpr double NTP_FRACTION_PER_US = 4294.967296;

std::atomic<uint64_t> s_nTickBase{0};
std::atomic<uint32_t> s_nLastTick{0};

uint64_t Milliseconds(const timeval& time) {
    return static_cast<uint64_t>(time.tv_sec) * MS_PER_SECOND + static_cast<uint64_t>(time.tv_usec) / US_PER_MS;
}

} // namespace

uint64_t VRNResetAndGetTime() {
    timeval now{};
    if (gettimeofday(&now, nullptr) != 0) {
        VRN_LOG(VRN_LOG_FAILURE, "%s: gettimeofday is failed\n");
        return 0;
    }
    const uint64_t base = Milliseconds(now);
    s_nTickBase = base;
    s_nLastTick = 0; // the one before is of the old base, and may lie ahead
    return base;
}

uint32_t VRNGetTickCount() {
    timeval now{};
    if (gettimeofday(&now, nullptr) != 0) {
        return s_nLastTick;
    }
    const uint32_t tick = static_cast<uint32_t>(Milliseconds(now) - s_nTickBase);
    s_nLastTick = tick;
    return tick;
}

long VRNGetTime() {
    return static_cast<long>(time(nullptr));
}

int VRNGetNTPTime(unsigned int* seconds, unsigned int* fraction) {
    timeval now{};
    const int result = gettimeofday(&now, nullptr);
    if (result == 0) {
        *seconds = static_cast<unsigned int>(static_cast<uint64_t>(now.tv_sec) + NTP_UNIX_OFFSET);
        *fraction = static_cast<unsigned int>(static_cast<double>(now.tv_usec) * NTP_FRACTION_PER_US);
    }
    return result;
}

uint32_t VRNDiffTime(unsigned int a, unsigned int b) {
    return a - b;
}

void VRNSeedRand(unsigned int seed) {
    srand(seed);
}

int VRNRand() {
    return rand();
}
