// Receiving: what the engine does to a packet and its characters, against the recvfrom that it follows; and how that
// grows with the text that waits and with the channels.

#include "bench/BenchHost.h"
#include "bench/Stopwatch.h"
#include "bench/SystemCalls.h"
#include "transport/CTextTransportManager.h"

#include <cstdlib>
#include <netinet/in.h>
#include <sys/socket.h>

namespace {

constexpr int BATCH = 100;

void RequireDelivered(size_t delivered, benchmark::IterationCount expected) {
    if (delivered != static_cast<size_t>(expected)) {
        abort();
    }
}

// One packet and the playout of its three characters; recvfrom is skipped.
void ReceiveWork(benchmark::State& state) {
    system_calls::Skip(true);
    BenchHost host(static_cast<uint32_t>(state.range(0)));
    const size_t before = s_nDelivered;
    for (auto _ : state) {
        host.ReceiveAndShow(0);
    }
    RequireDelivered(s_nDelivered - before, state.iterations() * CHARACTERS);
}
BENCHMARK(ReceiveWork)->Arg(0)->Arg(2)->Arg(5);

// The recvfrom alone, of the same datagram, as the engine calls it.
void ReceiveWorkBare(benchmark::State& state) {
    UdpPeer sender, receiver;
    const Bytes datagram = TextPacket(static_cast<uint32_t>(state.range(0)));
    Bytes buffer(TRANSPORT_BUFFER_SIZE);
    Stopwatch watch;
    while (state.KeepRunningBatch(BATCH)) {
        for (int i = 0; i < BATCH; ++i) {
            sender.SendTo(receiver.Port(), datagram);
        }
        watch.Start();
        for (int i = 0; i < BATCH; ++i) {
            sockaddr_in from{};
            socklen_t length = sizeof(from);
            recvfrom(receiver.Descriptor(), buffer.data(), buffer.size(), MSG_DONTWAIT,
                     reinterpret_cast<sockaddr*>(&from), &length);
        }
        watch.StopInto(state);
    }
}
BENCHMARK(ReceiveWorkBare)->UseManualTime()->Arg(0)->Arg(2)->Arg(5);

// One character of the oldest packet, while so many packets wait behind it.
void DeliveryWithWaiting(benchmark::State& state) {
    system_calls::Skip(true);
    BenchHost host(USUAL_LEVEL);
    for (int64_t i = 0; i < state.range(0); ++i) {
        host.Receive(0);
    }
    const size_t before = s_nDelivered;
    Stopwatch watch;
    while (state.KeepRunningBatch(CHARACTERS)) {
        watch.Start();
        for (int i = 0; i < CHARACTERS; ++i) {
            host.Deliver();
        }
        watch.StopInto(state);
        host.Receive(0);
    }
    RequireDelivered(s_nDelivered - before, state.iterations());
}
BENCHMARK(DeliveryWithWaiting)->UseManualTime()->Arg(10)->Arg(100)->Arg(1000)->Arg(10000);

// A packet in and a packet out on each channel in turn, so many channels.
void PacketsOnChannels(benchmark::State& state) {
    system_calls::Skip(true);
    const int channels = static_cast<int>(state.range(0));
    BenchHost host(USUAL_LEVEL, channels);
    Stopwatch watch;
    while (state.KeepRunningBatch(BATCH * channels)) {
        host.Restart(); // text waits on the channels that are not shown
        watch.Start();
        for (int i = 0; i < BATCH; ++i) {
            for (int channel = 0; channel < channels; ++channel) {
                host.Type(channel);
                host.Receive(channel);
            }
            host.Tick();
        }
        watch.StopInto(state);
    }
}
BENCHMARK(PacketsOnChannels)->UseManualTime()->Arg(1)->Arg(2)->Arg(3);

} // namespace
