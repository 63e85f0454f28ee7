// A call in virtual time between the engine, with up to three channels, and a modelled far end for each, over networks
// that lose, repeat, delay and reorder. Everything that the engine sends and shows is held against the model; a quiet
// call also against what was typed.
#ifndef SIM_SIMULATED_CALL_H
#define SIM_SIMULATED_CALL_H

#include "sim/Link.h"
#include "sim/SimulatedHost.h"
#include "sim/Typist.h"
#include "sim/model/ProcessModel.h"

#include <array>

// What kind of call a seed is played as.
struct CallPlan {
    uint64_t durationMs = 600000; // of a turn
    // More than one: the channels take turns, each opened anew for its own while the others stand still.
    int turns = 1;
    int channels = 1;
    bool quiet = true; // nobody restarts, switches, steps a clock or injects packets
    uint32_t level = 2;
    LinkConditions conditions;
    int64_t wallMs = 0;          // the wall clock at the start
    uint64_t idleMs = 0;         // nothing happens for so long first
    uint32_t msPerCharacter = 0; // typed evenly, without pauses or pastes; 0: as a Typist does
    bool rtcp = false;

    // Whatever the seed says, of everything.
    static CallPlan FromSeed(uint64_t seed);
    // A day of conversation at 12 characters a second on three channels in turn.
    static CallPlan Day();
    // Across the wrap of the 16-bit sequence numbers, of the 32-bit tick count and of the NTP seconds in 2036.
    static CallPlan SequenceWrap();
    static CallPlan TickWrap();
    static CallPlan NtpWrap();
    // Nearly every packet that arrives does so after a gap that redundancy does not fill.
    static CallPlan LossMarks();
};

struct CallCounts {
    uint64_t packets = 0; // either way
    uint64_t shown = 0;   // characters, of the engine
    uint64_t marks = 0;   // loss marks, of the engine
    uint64_t timeouts = 0;
    uint64_t digest = 0xCBF29CE484222325; // of all bytes sent and shown: equal for equal runs
};

class SimulatedCall {
public:
    SimulatedCall(uint64_t seed, const CallPlan& plan);

    // Plays the call. Empty, or what was not as it must be, with the time.
    std::string Run();
    const CallCounts& Counts() const { return m_Counts; }

private:
    // What one side sent and the other was shown, for the check of quiet calls.
    struct Record {
        std::vector<std::string> packets; // the new text of each
        std::string typed;
        std::vector<size_t> arrived; // packets, in order of arrival
        std::vector<Handed> shown;
    };

    struct Party {
        Party(const ModelTypes& types, const CallPlan& plan, uint64_t seed)
            : far(types), toFar(plan.conditions, seed + 1),
              toEngine(plan.conditions, seed + 2), typist{Typist(seed + 3), Typist(seed + 4)} {}
        ProcessModel far;
        Link toFar, toEngine;
        Typist typist[2]; // the engine's, the far end's
        uint64_t nextTyped[2] = {};
        Record record[2]; // what the engine sent, what the far end sent
        Bytes lastFarPacket;
    };

    void Open(int channel);
    void SetRtcp(int channel, bool on);
    void PlayTurn();
    uint64_t NextStep() const;
    void StepTo(uint64_t then);
    void SkipTo(uint64_t then);
    void CarryAndCompare();
    void CarryFar(int channel);
    void CompareEvents();
    void Arrive(int channel);
    void TypeWhatIsDue();
    uint64_t Pause(Typist& typist);
    void Type(int channel, int side, const std::string& text);
    bool HasTurn(int channel) const { return m_Plan.turns == 1 || channel == m_nShown; }
    void DoSomethingWild();
    void WildHost(int channel);
    void Paste(int channel);
    void WildFar(int channel);
    Bytes HostilePacket(const Party& party, bool rtcp);
    void Expect(bool held, const std::string& claim);
    void CheckTimers();
    void Drain();
    void CheckRecord(int channel, int side);
    void Digest(const void* bytes, size_t length);

    const CallPlan m_Plan;
    SimRandom m_Random;
    SimulatedHost m_Host;
    ProcessModel m_Model;                          // of the engine's process
    std::vector<std::unique_ptr<Party>> m_Parties; // by channel
    uint64_t m_nNextWild = NEVER;
    int m_nShown = 0; // the channel whose text the engine shows: the last that was opened
    bool m_bTyping = true;
    uint64_t m_nLastActivity = 0;
    std::string m_Failure;
    CallCounts m_Counts;
};

#endif
