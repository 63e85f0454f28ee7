// The rules of playout, written once more from scratch: what a receiver hands out, call by call.
#ifndef SIM_MODEL_PLAYOUT_MODEL_H
#define SIM_MODEL_PLAYOUT_MODEL_H

#include "tests/support/UdpPeer.h"

#include <deque>
#include <string>

struct ModelPacket {
    uint32_t seq; // extended
    Bytes payload;
    bool isRed;
};

// One character, or a loss mark with its count as the length; a length of 0 is nothing.
struct Handed {
    std::string text;
    int length = 0;
    bool isMark = false;
};

class PlayoutModel {
public:
    // The tick of the last load is the process's: all of its receivers share it.
    PlayoutModel(uint32_t level, uint32_t& lastLoad) : m_nLevel(level), m_nLastLoad(lastLoad) {}

    void Put(const ModelPacket& packet);
    Handed Next(uint32_t tick, uint32_t size);
    void ForgetPlayed() { m_nPlayed = 0; }

private:
    bool HasBlocks(const ModelPacket& packet) const { return packet.isRed && m_nLevel != 0; }
    bool IsDropped(const ModelPacket& packet) const;
    void Load(const ModelPacket& packet);
    Handed Character(size_t size);

    const uint32_t m_nLevel;
    uint32_t& m_nLastLoad;
    uint32_t m_nPlayed = 0;
    uint32_t m_nSkipped = 0;
    std::string m_Buffer = std::string(1400, '\0');
    std::string m_Play;
    size_t m_nAt = 0;
    std::deque<ModelPacket> m_Waiting;
};

#endif
