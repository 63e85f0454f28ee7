// Prints, as JSON, the heap that the engine takes and its allocations for each packet.

#include "bench/Allocations.h"
#include "bench/BenchHost.h"
#include "bench/SystemCalls.h"

#include <cstdio>
#include <functional>

namespace {

constexpr int PACKETS = 1000;

double AllocationsOf(const std::function<void()>& packet) {
    const size_t before = allocations::Calls();
    for (int i = 0; i < PACKETS; ++i) {
        packet();
    }
    return static_cast<double>(allocations::Calls() - before) / PACKETS;
}

void PrintHeap() {
    const size_t before = allocations::Bytes();
    GetCorvaneTextEngineClient()->VRN_Init();
    printf("{\"heap_without_channels\": %zu, ", allocations::Bytes() - before);
    BenchHost host(USUAL_LEVEL);
    const size_t withOne = allocations::Bytes();
    host.AddChannel();
    printf("\"heap_of_a_channel\": %zu, ", allocations::Bytes() - withOne);
}

void PrintAllocations() {
    BenchHost host(USUAL_LEVEL);
    const double sent = AllocationsOf([&host] {
        host.Type(0, CHARACTERS);
        host.Tick();
    });
    const double received = AllocationsOf([&host] { host.ReceiveAndShow(0); });
    printf("\"allocations_sent\": %.2f, \"allocations_received\": %.2f}\n", sent, received);
}

} // namespace

int main() {
    VRNlogLevel = 0;
    system_calls::Skip(true);
    PrintHeap();
    system_calls::Skip(true);
    PrintAllocations();
    return 0;
}
