// A host of libVRN.so. Prints, as JSON, what an idle channel costs (vrn-at-rest engine|engine-rtcp SECONDS), what a
// process costs that only sleeps as often (vrn-at-rest bare SECONDS), or how long the last channel takes to be deleted
// (vrn-at-rest ending).

#include "api/CorvaneTextEngineClient.h"
#include "tests/support/UdpPeer.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <sys/resource.h>
#include <thread>
#include <vector>

namespace {

using namespace std::chrono;

constexpr int WARM_UP_SECONDS = 2;
constexpr double SECONDS_PER_NS = 1e-9;
constexpr double MS_PER_MINUTE = 60000;
constexpr int ENDINGS = 25;
constexpr int FIRST_CALL_MS = 100;
constexpr int LONGER_EACH_CALL_MS = 7; // so that each ends at another moment of the threads' pauses

CorvaneTextEngineClient* s_Engine = GetCorvaneTextEngineClient();

void StartChannel(uint16_t farPort) {
    const int channel = s_Engine->VRN_CreateChannel();
    stVRN_CodecInfo codec = {{}, 98, 99, 98, 99, 2};
    s_Engine->VRN_SetSendCodec(channel, &codec);
    s_Engine->VRN_SetSendIPnPort(channel, "127.0.0.1", farPort);
    const uint16_t port = FreePortPair();
    s_Engine->VRN_SetRecvIPnPort(channel, "127.0.0.1", port);
    s_Engine->VRN_StartFDSR(channel, VRN_CHANNEL_SENDRECV, 0);
    if (UdpPeer(port).IsOpen()) {
        fprintf(stderr, "the channel did not start\n");
        _Exit(1);
    }
}

[[noreturn]] void SleepAgainAndAgain(microseconds time) {
    for (;;) {
        std::this_thread::sleep_for(time);
    }
}

double Seconds(clockid_t clock) {
    timespec now{};
    clock_gettime(clock, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * SECONDS_PER_NS;
}

long WakeUps() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_nvcsw;
}

void PrintCost(int forSeconds) {
    std::this_thread::sleep_for(seconds(WARM_UP_SECONDS));
    const double start = Seconds(CLOCK_MONOTONIC);
    const double processor = Seconds(CLOCK_PROCESS_CPUTIME_ID);
    const long wakeUps = WakeUps();
    std::this_thread::sleep_for(seconds(forSeconds));
    const double elapsed = Seconds(CLOCK_MONOTONIC) - start;
    printf("{\"wake_ups_a_second\": %.3f, \"processor_ms_a_minute\": %.3f}\n",
           static_cast<double>(WakeUps() - wakeUps) / elapsed,
           (Seconds(CLOCK_PROCESS_CPUTIME_ID) - processor) * MS_PER_MINUTE / elapsed);
}

void PrintEndings(uint16_t farPort) {
    std::vector<double> times;
    for (int i = 0; i < ENDINGS; ++i) {
        StartChannel(farPort);
        std::this_thread::sleep_for(milliseconds(FIRST_CALL_MS + LONGER_EACH_CALL_MS * i));
        const auto start = steady_clock::now();
        s_Engine->VRN_DeleteChannel(0);
        times.push_back(duration<double, std::milli>(steady_clock::now() - start).count());
    }
    std::sort(times.begin(), times.end());
    printf("{\"ending_median_ms\": %.3f, \"ending_longest_ms\": %.3f}\n", times[ENDINGS / 2], times.back());
}

} // namespace

int main(int argc, char** argv) {
    VRNlogLevel = 0;
    const char* const what = argc > 1 ? argv[1] : "";
    const int forSeconds = argc > 2 ? atoi(argv[2]) : 60;
    UdpPeer farEnd;
    if (strcmp(what, "bare") == 0) {
        std::thread(SleepAgainAndAgain, milliseconds(50)).detach();
        std::thread(SleepAgainAndAgain, milliseconds(1300)).detach();
        PrintCost(forSeconds);
        fflush(stdout);
        _Exit(0);
    }
    s_Engine->VRN_Init();
    if (strcmp(what, "ending") == 0) {
        PrintEndings(farEnd.Port());
        return 0;
    }
    StartChannel(farEnd.Port());
    if (strcmp(what, "engine-rtcp") == 0) {
        s_Engine->VRN_SetCallOptions(0, true);
    }
    PrintCost(forSeconds);
    s_Engine->VRN_DeleteChannel(0);
    return 0;
}
