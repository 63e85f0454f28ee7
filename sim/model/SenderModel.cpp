#include "sim/model/SenderModel.h"

#include "tests/support/UdpPeer.h"

namespace {
constexpr uint64_t TICK_MS = 300;
constexpr size_t MOST_IN_A_PAYLOAD = 500;
constexpr size_t MOST_AT_ONCE = 1400;
constexpr size_t MOST_WAITING = 65536;
} // namespace

SenderModel::SenderModel(const ModelClock& clock, uint32_t level, uint8_t payloadType, Send send)
    : m_Clock(clock), m_nLevel(level % 256), m_nPayloadType(payloadType), m_Send(std::move(send)),
      m_History(m_nLevel, Generation{0, ""}) {}

int SenderModel::Type(const std::string& text) {
    if (text.empty() || (m_bIdle && text.size() > MOST_AT_ONCE)) {
        return -1;
    }
    m_nOwed = static_cast<int>(m_nLevel);
    if (!m_bIdle) {
        if (m_Waiting.size() + text.size() > MOST_WAITING) {
            return -1;
        }
        m_Waiting += text;
        return 1;
    }
    SendNow(text, true);
    due = m_Clock.now + TICK_MS;
    --m_nOwed;
    m_bIdle = false;
    return 1;
}

void SenderModel::Tick() {
    due = NEVER;
    if (!m_Waiting.empty()) {
        m_nOwed = static_cast<int>(m_nLevel);
        SendNow(Gather(), false);
        m_bIdle = false;
    } else if (m_nOwed >= 0) {
        SendNow("", false);
    } else {
        m_bIdle = true;
    }
    if (m_nOwed >= 0) {
        --m_nOwed;
        due = m_Clock.now + TICK_MS;
    } else if (m_nLevel == 0) {
        SendNow("", false);
    }
}

void SenderModel::Stop() {
    due = NEVER;
    m_bIdle = true;
    m_Waiting.clear();
    m_History.clear();
}

size_t SenderModel::HistoryBytes() const {
    size_t bytes = 1;
    for (const Generation& generation : m_History) {
        bytes += 4 + generation.text.size();
    }
    return bytes;
}

// As much of the waiting text as the packet has room for, in whole characters.
std::string SenderModel::Gather() {
    const size_t taken = m_nLevel == 0 || m_nLevel > 123 ? 0 : HistoryBytes();
    size_t length = MOST_IN_A_PAYLOAD - std::min(MOST_IN_A_PAYLOAD, taken);
    if (length >= m_Waiting.size()) {
        length = m_Waiting.size();
    } else {
        while (length > 0 && (static_cast<uint8_t>(m_Waiting[length]) & 0xC0) == 0x80) {
            --length;
        }
    }
    const std::string text = m_Waiting.substr(0, length);
    m_Waiting.erase(0, length);
    return text;
}

void SenderModel::SendNow(const std::string& text, bool marker) {
    const uint32_t now = m_Clock.Tick();
    if (m_nLevel == 0) {
        m_Send({text, text, false, marker, now});
        return;
    }
    Datagram red;
    std::string generations;
    uint32_t i = 0;
    for (const Generation& generation : m_History) {
        const uint32_t age = now - generation.timestamp;
        red.RedHeader(m_nPayloadType, age < 16384 ? age : (m_nLevel - i) * 300,
                      static_cast<uint32_t>(generation.text.size()));
        generations += generation.text;
        ++i;
    }
    const Bytes& bytes = red.U8(m_nPayloadType).Text(generations).Text(text);
    if (m_History.size() == m_nLevel) {
        m_History.pop_front();
    }
    m_History.push_back({now, text});
    if (bytes.size() <= MOST_IN_A_PAYLOAD) {
        m_Send({std::string(bytes.begin(), bytes.end()), text, true, marker, now});
    }
}
