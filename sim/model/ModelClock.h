// The clock of a modelled process.
#ifndef SIM_MODEL_MODEL_CLOCK_H
#define SIM_MODEL_MODEL_CLOCK_H

#include <cstdint>

constexpr uint64_t NEVER = UINT64_MAX;

struct ModelClock {
    uint64_t now = 0;       // ms since the simulation began; timers run by it
    int64_t wallAtZero = 0; // the wall clock then, ms since 1970
    uint64_t tickBase = 0;  // the wall clock at tick 0

    uint64_t Wall() const { return static_cast<uint64_t>(wallAtZero) + now; }
    uint32_t Tick() const { return static_cast<uint32_t>(Wall() - tickBase); }
};

#endif
