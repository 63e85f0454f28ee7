#include "lossy/StreamLedger.h"

#include <algorithm>

uint32_t StreamLedger::ExtendedNumber(const RtpPacket& packet) const {
    if (IsFirst(packet)) {
        return packet.sequenceNumber;
    }
    const auto step = static_cast<int16_t>(packet.sequenceNumber - static_cast<uint16_t>(m_nHighest));
    const int64_t number = static_cast<int64_t>(m_nHighest) + step;
    return static_cast<uint32_t>(std::max<int64_t>(number, 0));
}

void StreamLedger::Enter(const RtpPacket& packet, bool delivered, LostForGood& lost) {
    lost = {};
    if (IsFirst(packet)) {
        Begin(packet);
    }
    const uint32_t number = ExtendedNumber(packet);
    m_nHighest = std::max(m_nHighest, number);
    if (!delivered) {
        ++m_nDropped;
        m_DroppedTexts[number] = packet.Primary();
        return;
    }
    ++m_nRelayed;
    if (number < m_nNext) {
        return;
    }
    const auto repeats = static_cast<uint32_t>(packet.Repeats());
    lost = SettleUpTo(number - std::min(number, repeats));
    m_nRestored += static_cast<unsigned>(m_DroppedTexts.size());
    m_DroppedTexts.clear();
    m_nNext = number + 1;
}

void StreamLedger::Begin(const RtpPacket& packet) {
    m_bStarted = true;
    m_nSsrc = packet.ssrc;
    m_nHighest = packet.sequenceNumber;
    m_nNext = m_nHighest;
    m_DroppedTexts.clear();
}

// Nothing older than `oldestCarried` can come any more: the dropped packets before it are lost for good.
LostForGood StreamLedger::SettleUpTo(uint32_t oldestCarried) {
    LostForGood lost = {m_nNext, 0, ""};
    while (!m_DroppedTexts.empty() && m_DroppedTexts.begin()->first < oldestCarried) {
        lost.text += m_DroppedTexts.begin()->second;
        ++lost.packets;
        m_DroppedTexts.erase(m_DroppedTexts.begin());
    }
    if (lost.packets > 0) {
        m_Lost.push_back(lost);
    }
    return lost;
}
