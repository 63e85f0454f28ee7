// Everything random in a simulation comes from one of these, so that a seed decides it all.
#ifndef SIM_SIM_RANDOM_H
#define SIM_SIM_RANDOM_H

#include <cstdint>
#include <random>

class SimRandom {
public:
    explicit SimRandom(uint64_t seed) : m_Engine(seed) {}

    uint64_t Bits() { return m_Engine(); }
    uint32_t Below(uint32_t limit) { return static_cast<uint32_t>(m_Engine() % limit); }
    uint32_t Between(uint32_t least, uint32_t most) { return least + Below(most - least + 1); }
    bool Chance(double probability) { return static_cast<double>(m_Engine() >> 11) * 0x1p-53 < probability; }
    template <typename T, size_t Size> T OneOf(const T (&values)[Size]) { return values[Below(Size)]; }

private:
    std::mt19937_64 m_Engine; // its numbers are fixed by the standard
};

#endif
