// A fixed number of send ticks and deliveries with skipped system calls, for callgrind to count the instructions of the
// two functions that have C names.

#include "bench/BenchHost.h"
#include "bench/SystemCalls.h"
#include "codec/T140Codec.h"

namespace {

constexpr int TIMES = 1000;
constexpr int TYPED = 10;

} // namespace

// One send tick, ten typed characters waiting.
extern "C" __attribute__((noinline)) void CountedSendTick() {
    system_calls::ExpireTimers();
}

// One packet from the socket's report to the host's handler, which gets its three characters.
extern "C" __attribute__((noinline)) void CountedDelivery(BenchHost& host) {
    host.ReceiveAndShow(0);
}

int main() {
    system_calls::Skip(true);
    BenchHost host(USUAL_LEVEL);
    for (int i = 0; i < TIMES; ++i) {
        host.Type(0, TYPED);
        system_calls::AdvanceClocks(SEND_INTERVAL_MS);
        CountedSendTick();
        CountedDelivery(host);
    }
    return s_nDelivered == static_cast<size_t>(TIMES) * CHARACTERS ? 0 : 1;
}
