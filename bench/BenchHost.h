// The engine in one thread, for measuring: its own control, transport, codec, sockets and timers, while the steps of
// its threads are called one by one.
#ifndef BENCH_BENCH_HOST_H
#define BENCH_BENCH_HOST_H

#include "control/CTextControlManager.h"
#include "tests/support/UdpPeer.h"

#include <vector>

constexpr uint32_t BENCH_T140 = 98;
constexpr uint32_t BENCH_RED = 99;
constexpr uint32_t USUAL_LEVEL = 2;
constexpr int CHARACTERS = 3; // that each block of a received packet has, and that fast typing brings for a tick

// Single-threaded. Its channels are started in both directions, send to `farEnd`, and its log is silenced.
class BenchHost {
public:
    explicit BenchHost(uint32_t level, int channels = 1);
    ~BenchHost();
    BenchHost(const BenchHost&) = delete;
    BenchHost& operator=(const BenchHost&) = delete;

    void AddChannel();

    // Types so many characters one by one.
    void Type(int channel, int characters = 1);
    // A send tick of every channel that has one pending; how many had.
    size_t Tick();
    // Ticks until none is pending: the history is then full, of empty generations.
    void GoIdle();

    // The next datagram of a far end's stream, with three new characters, from the socket's report to the queue of
    // received text. Only with skipped system calls.
    void Receive(int channel);
    // One step of the feeder: a character, if one waits on the active channel.
    void Deliver() { manager.GetTextAndDisplay(); }
    // The same, and the feeder's steps that show its characters.
    void ReceiveAndShow(int channel);
    // Nothing received waits any more.
    void Restart();

    // Takes and drops what was sent, so that the next datagram finds room.
    void DrainFarEnd();

    CTextControlManager manager;
    UdpPeer farEnd;

private:
    const uint32_t m_nLevel;
    void Start(int channel);

    std::vector<Bytes> m_Received; // the last datagram of each channel
};

// The first packet of a far end's stream at this level.
Bytes TextPacket(uint32_t level);

// Events 1 so far.
extern size_t s_nDelivered;

#endif
