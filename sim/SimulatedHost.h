// A host process of the engine in virtual time: the engine's own control, transport and codec over a clock that jumps,
// sockets in memory and threads whose steps are called here.
#ifndef SIM_SIMULATED_HOST_H
#define SIM_SIMULATED_HOST_H

#include "api/CorvaneTextEngineClient.h"
#include "control/CTextControlManager.h"
#include "tests/support/MemoryNetwork.h"

#include <functional>
#include <string>
#include <vector>

// Four payload types that differ, so that none can stand in for another.
constexpr uint32_t SIM_SEND_T140 = 98;
constexpr uint32_t SIM_SEND_RED = 99;
constexpr uint32_t SIM_RECV_T140 = 100;
constexpr uint32_t SIM_RECV_RED = 101;

struct SimEvent {
    int channel;
    int id;
    std::string text; // event 1: as many bytes of the display buffer as the length says, and two when it is negative
    int length;
};

// Single-threaded; one at a time in a process. Starts with the virtual clock at 0 and nothing open.
class SimulatedHost {
public:
    SimulatedHost();
    // Deletes all channels.
    ~SimulatedHost();
    SimulatedHost(const SimulatedHost&) = delete;
    SimulatedHost& operator=(const SimulatedHost&) = delete;

    // The ports of a channel and of its far end; RTCP has the next ones.
    static uint16_t LocalPort(int channel) { return static_cast<uint16_t>(6000 + 10 * channel); }
    static uint16_t FarPort(int channel) { return static_cast<uint16_t>(7000 + 10 * channel); }

    void Configure(int channel, uint32_t level);
    int Type(int channel, std::string text);

    // When something of the engine's is next to run, ms since the start: a timer, a receiver round (30 ms apart while
    // datagrams wait) or a feeder step (50 ms apart).
    uint64_t NextStep() const;
    // Moves the clock to `then`, not after NextStep, and runs what is due: timers, then the round, then the feeder.
    void StepTo(uint64_t then);
    void RunUntil(uint64_t then);
    // Without feeder steps, for long spans in which nothing is sent or waits.
    void SkipTo(uint64_t then);

    std::vector<SimEvent> TakeEvents();

    // Called inside every event; null for none.
    std::function<void(int channel, int event)> onEvent;

    CTextControlManager manager;

private:
    static void Handle(int channel, int event, void* data);
    void ReceiverRound();

    uint64_t m_nNextRound = 0;
    uint64_t m_nNextFeed = 0;
    std::vector<SimEvent> m_Events;
};

#endif
