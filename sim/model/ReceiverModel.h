// The rules by which received RTP packets are let in and counted, written once more from scratch.
#ifndef SIM_MODEL_RECEIVER_MODEL_H
#define SIM_MODEL_RECEIVER_MODEL_H

#include "sim/model/PlayoutModel.h"

#include <optional>

// Lives as long as its channel, over every stop and start.
class ReceiverModel {
public:
    // The packet that the datagram is let in as, if it is.
    std::optional<ModelPacket> Receive(const Bytes& datagram, uint32_t t140Type, uint32_t redType);

    uint32_t accepted = 0;
    uint32_t base = 0;
    uint32_t highest = 0;
    bool newData = false; // since the last report

private:
    uint32_t m_nType = 0; // of the last packet of version 2, as are the next two
    uint32_t m_nSeq = 0;
    uint32_t m_nSsrc = 0;
    uint32_t m_nCycles = 0;
    uint32_t m_nLastSeq = 0; // of the last packet let in above all before it
    uint32_t m_nLastExtended = 0;
    uint32_t m_nSender = 0;
    int m_nStrangers = 0; // in a row
};

uint32_t ReadU16(const Bytes& bytes, size_t at);
uint32_t ReadU32(const Bytes& bytes, size_t at);

#endif
