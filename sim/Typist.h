// Somebody typing: words in bursts, pauses, pastes, and all of Unicode now and then.
#ifndef SIM_TYPIST_H
#define SIM_TYPIST_H

#include "sim/SimRandom.h"

#include <string>

class Typist {
public:
    explicit Typist(uint64_t seed) : m_Random(seed) {}

    // What is typed at once: a character, seldom a paste of up to 300.
    std::string Next();

    // How long until then, ms: about 12 characters a second within a burst, seconds between bursts.
    uint32_t Pause();

    std::string Character();

private:
    SimRandom m_Random;
};

#endif
