#include "sim/model/PlayoutModel.h"

#include "tests/support/RedBlocks.h"

#include <algorithm>

namespace {
constexpr size_t MOST_GENERATIONS = 16;
constexpr uint32_t WAIT_MS = 1000;
} // namespace

// In order of arrival: a receiver lets only rising numbers in, but for 0s before any other.
void PlayoutModel::Put(const ModelPacket& packet) {
    m_Waiting.push_back(packet);
}

Handed PlayoutModel::Next(uint32_t tick, uint32_t size) {
    if (size >= 2 && m_nAt < m_Play.size()) {
        return Character(size);
    }
    while (!m_Waiting.empty() && IsDropped(m_Waiting.front())) {
        m_Waiting.pop_front();
    }
    if (m_Waiting.empty()) {
        return {};
    }
    const ModelPacket packet = m_Waiting.front();
    if (m_nPlayed == 0) {
        m_nPlayed = packet.seq == 0 ? 0 : packet.seq - 1;
    } else if (packet.seq > m_nPlayed + m_nLevel + 1 && m_nLastLoad + WAIT_MS > tick) {
        return {};
    }
    m_nLastLoad = tick;
    const uint32_t before = m_nPlayed;
    Load(packet);
    if (m_nPlayed == packet.seq) {
        m_Waiting.pop_front();
    }
    const uint32_t expected = before + m_nSkipped + 1;
    if (size < 2) {
        return {};
    }
    return m_nPlayed > expected ? Handed{"\xFD\xFF", static_cast<int>(m_nPlayed - expected), true} : Character(size);
}

// Compared around the wrap below zero with which a stream from number 0 may begin.
bool PlayoutModel::IsDropped(const ModelPacket& packet) const {
    const bool isOld = m_nPlayed != 0 && static_cast<int32_t>(packet.seq - m_nPlayed) <= 0;
    return HasBlocks(packet) && (isOld || ParseRed(packet.payload, MOST_GENERATIONS).empty());
}

void PlayoutModel::Load(const ModelPacket& packet) {
    std::string text(packet.payload.begin(), packet.payload.end());
    uint32_t played = packet.seq;
    if (HasBlocks(packet)) {
        const std::vector<RedBlock> blocks = ParseRed(packet.payload, MOST_GENERATIONS);
        const uint32_t n = static_cast<uint32_t>(blocks.size()) - 1;
        const uint32_t gap = packet.seq - m_nPlayed;
        const uint32_t start = gap == 0 || n + 1 < gap ? 0 : n + 1 - gap;
        uint32_t k = start;
        while (start <= 14 && k < n && k < 15 && blocks[k].data.empty()) {
            ++k;
        }
        m_nSkipped = k - start;
        text = blocks[k].data;
        played = packet.seq - n + k;
    }
    m_nPlayed = played;
    m_Buffer.replace(0, text.size(), text);
    m_Play = text;
    m_nAt = 0;
}

// A character cut by the end of a block is completed from what the buffer holds behind it, zeros behind its end.
Handed PlayoutModel::Character(size_t size) {
    if (m_nAt >= m_Play.size()) {
        return {};
    }
    const uint8_t firsts[] = {0xC0, 0xE0, 0xF0, 0xF8, 0xFC}; // lead bytes of 2 to 6
    const uint8_t lead = static_cast<uint8_t>(m_Play[m_nAt]);
    const size_t length = 1U + static_cast<size_t>(std::upper_bound(firsts, firsts + 5, lead) - firsts);
    std::string character = m_Buffer.substr(m_nAt, length);
    character.resize(length);
    m_nAt += length;
    return {character.substr(0, size), static_cast<int>(length), false};
}
