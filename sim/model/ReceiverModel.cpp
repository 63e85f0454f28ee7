#include "sim/model/ReceiverModel.h"

#include <algorithm>

namespace {
constexpr size_t HEADER = 12;
constexpr size_t MOST_READ = 1412;
constexpr int STRANGERS_TURNED_AWAY = 4;
} // namespace

uint32_t ReadU16(const Bytes& bytes, size_t at) {
    return bytes[at] * 256U + bytes[at + 1];
}

uint32_t ReadU32(const Bytes& bytes, size_t at) {
    return ReadU16(bytes, at) * 65536U + ReadU16(bytes, at + 2);
}

std::optional<ModelPacket> ReceiverModel::Receive(const Bytes& datagram, uint32_t t140Type, uint32_t redType) {
    if (datagram.size() < HEADER) {
        return {};
    }
    if (datagram[0] / 64 == 2) {
        m_nType = datagram[1] % 128;
        m_nSeq = ReadU16(datagram, 2);
        m_nSsrc = ReadU32(datagram, 8);
    }
    if (m_nType != t140Type && m_nType != redType) {
        return {};
    }
    if (accepted == 0) {
        m_nCycles = 0;
        base = highest = m_nSeq;
    } else if (m_nLastSeq >= 65501 && m_nSeq <= 29) {
        m_nCycles = (m_nCycles + 1) % 65536;
    }
    const uint32_t extended = m_nCycles * 65536 + m_nSeq;
    highest = std::max(highest, extended);
    if (m_nLastExtended != 0 && extended <= m_nLastExtended) {
        return {};
    }
    if (m_nSender == 0 || m_nStrangers == STRANGERS_TURNED_AWAY) {
        m_nSender = m_nSsrc;
    } else if (m_nSender != m_nSsrc) {
        ++m_nStrangers;
        return {};
    }
    m_nStrangers = 0;
    ++accepted;
    newData = true;
    if (extended > m_nLastExtended) {
        m_nLastSeq = m_nSeq;
        m_nLastExtended = extended;
    }
    const auto end = datagram.begin() + static_cast<long>(std::min(datagram.size(), MOST_READ));
    return ModelPacket{extended, Bytes(datagram.begin() + HEADER, end), m_nType == redType};
}
