// Sending: what a typed character and a send tick cost, with the system calls and without, against these calls alone.

#include "bench/BenchHost.h"
#include "bench/Stopwatch.h"
#include "bench/SystemCalls.h"
#include "codec/T140Codec.h"

#include <arpa/inet.h>
#include <csignal>
#include <cstdlib>
#include <ctime>
#include <sys/socket.h>

namespace {

constexpr int TYPED = 10;
constexpr long NS_PER_MS = 1000000;

// The engine's tick and no other timer's.
void RunTick() {
    if (system_calls::ExpireTimers() != 1) {
        abort();
    }
}

// The next tick has ten characters, and two generations with as many.
void PrepareTick(BenchHost& host) {
    for (uint32_t i = 0; i < USUAL_LEVEL; ++i) {
        host.Type(0, TYPED);
        host.Tick();
    }
    host.Type(0, TYPED);
    system_calls::AdvanceClocks(SEND_INTERVAL_MS);
    host.DrainFarEnd();
}

// What the kernel asks of anyone.
class BareSender {
public:
    explicit BareSender(uint16_t port) {
        m_To.sin_family = AF_INET;
        m_To.sin_port = htons(port);
        m_To.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    }

    void Send(const Bytes& datagram) {
        sendto(m_Own.Descriptor(), datagram.data(), datagram.size(), 0, reinterpret_cast<const sockaddr*>(&m_To),
               sizeof(m_To));
    }

    static void ArmTimer() {
        sigevent event{};
        event.sigev_notify = SIGEV_THREAD;
        event.sigev_notify_function = [](sigval) {};
        timer_t timer{};
        itimerspec expiry{};
        expiry.it_value.tv_nsec = static_cast<long>(SEND_INTERVAL_MS) * NS_PER_MS;
        timer_create(CLOCK_REALTIME, &event, &timer);
        timer_settime(timer, 0, &expiry, nullptr);
        timer_delete(timer);
    }

private:
    const UdpPeer m_Own;
    sockaddr_in m_To{};
};

// The whole call, the arming of the tick with it.
void TypedCharacter(benchmark::State& state) {
    BenchHost host(USUAL_LEVEL);
    Stopwatch watch;
    for (auto _ : state) {
        host.GoIdle();
        host.DrainFarEnd();
        watch.Start();
        host.Type(0);
        watch.StopInto(state);
    }
}
BENCHMARK(TypedCharacter)->UseManualTime();

void TypedCharacterBare(benchmark::State& state) {
    BenchHost host(USUAL_LEVEL);
    BareSender sender(host.farEnd.Port());
    host.Type(0);
    const Bytes datagram = host.farEnd.Receive();
    Stopwatch watch;
    for (auto _ : state) {
        host.Type(0);
        host.GoIdle();
        host.DrainFarEnd();
        watch.Start();
        sender.Send(datagram);
        BareSender::ArmTimer();
        watch.StopInto(state);
    }
}
BENCHMARK(TypedCharacterBare)->UseManualTime();

void SendTick(benchmark::State& state) {
    BenchHost host(USUAL_LEVEL);
    Stopwatch watch;
    for (auto _ : state) {
        PrepareTick(host);
        watch.Start();
        RunTick();
        watch.StopInto(state);
    }
}
BENCHMARK(SendTick)->UseManualTime();

void SendTickBare(benchmark::State& state) {
    BenchHost host(USUAL_LEVEL);
    BareSender sender(host.farEnd.Port());
    PrepareTick(host);
    host.Tick();
    const Bytes datagram = host.farEnd.Receive();
    Stopwatch watch;
    for (auto _ : state) {
        PrepareTick(host);
        watch.Start();
        sender.Send(datagram);
        BareSender::ArmTimer();
        watch.StopInto(state);
    }
}
BENCHMARK(SendTickBare)->UseManualTime();

// The levels, and the characters that a tick finds.
void LevelsAndCharacters(benchmark::internal::Benchmark* benchmark) {
    benchmark->UseManualTime()->Args({0, CHARACTERS})->Args({2, CHARACTERS})->Args({5, CHARACTERS})->Args({2, TYPED});
}

// The engine's own part of a tick, its system calls skipped.
void SendWork(benchmark::State& state) {
    system_calls::Skip(true);
    BenchHost host(static_cast<uint32_t>(state.range(0)));
    Stopwatch watch;
    for (auto _ : state) {
        host.Type(0, static_cast<int>(state.range(1)));
        system_calls::AdvanceClocks(SEND_INTERVAL_MS);
        watch.Start();
        RunTick();
        watch.StopInto(state);
    }
}
BENCHMARK(SendWork)->Apply(LevelsAndCharacters);

// The sendto of such a tick's datagram alone.
void SendWorkBare(benchmark::State& state) {
    BenchHost host(static_cast<uint32_t>(state.range(0)));
    BareSender sender(host.farEnd.Port());
    for (int64_t i = 0; i <= state.range(0); ++i) {
        host.Type(0, static_cast<int>(state.range(1)));
        host.Tick();
    }
    Bytes datagram;
    for (Bytes next = host.farEnd.Receive(); !next.empty(); next = host.farEnd.Receive(0)) {
        datagram = next;
    }
    Stopwatch watch;
    for (auto _ : state) {
        host.DrainFarEnd();
        watch.Start();
        sender.Send(datagram);
        watch.StopInto(state);
    }
}
BENCHMARK(SendWorkBare)->Apply(LevelsAndCharacters);

} // namespace
