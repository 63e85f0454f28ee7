// One stream of text, one way: a modelled far end types evenly, its packets cross a network that loses some of them, and
// a channel of the engine shows what it can.
#ifndef SIM_LOSS_CURVE_STREAM_H
#define SIM_LOSS_CURVE_STREAM_H

#include "sim/Link.h"
#include "sim/SimulatedHost.h"
#include "sim/model/ProcessModel.h"

struct StreamPlan {
    double loss;
    double burst; // mean length of a run of lost packets; 1: independent
    uint32_t level;
    uint64_t minutes; // of typing, 12 characters a second
};

// What became of the text. Counted are the characters whose fate can be known: not those of the first packet that
// arrived or before it, nor of the last one or of the `level` before that, which it saves. What is between is lost or not
// without regard to where the stream begins and ends.
struct StreamResult {
    uint64_t characters = 0;
    uint64_t charactersLost = 0;
    uint64_t packets = 0; // that these characters came in
    uint64_t sent = 0;    // packets in all
    uint64_t arrived = 0;
    std::vector<uint64_t> delaysMs; // from being typed to being shown, of every character shown
};

// Equal for equal seeds.
class LossCurveStream {
public:
    LossCurveStream(const StreamPlan& plan, uint64_t seed);

    void Play();
    // What arrived was shown once and in order, with each gap marked with its count.
    bool IsShownAsItMustBe() const;
    // Of a stream for which that holds.
    StreamResult Result() const;

private:
    struct Shown {
        SimEvent event;
        uint64_t time = 0;
    };

    void StepTo(uint64_t then);
    void Carry(uint64_t now);
    uint64_t TimeOfTyping(uint64_t character) const;
    uint64_t NextTyped() const;

    const StreamPlan m_Plan;
    SimRandom m_Random;
    SimulatedHost m_Host;
    ProcessModel m_Far;
    Link m_Link;
    const uint64_t m_nStart; // of typing
    uint64_t m_nTyped = 0;   // characters, of one byte each
    uint64_t m_nLastActivity = 0;
    std::vector<std::string> m_Packets; // their new texts
    std::vector<size_t> m_Arrived;
    std::vector<Shown> m_Shown;
};

#endif
