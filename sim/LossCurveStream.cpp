#include "sim/LossCurveStream.h"

#include "sim/ShownText.h"

#include <algorithm>

namespace {

constexpr ModelTypes FAR_TYPES = {SIM_RECV_T140, SIM_RECV_RED, SIM_SEND_T140, SIM_SEND_RED};
constexpr int BOTH_WAYS = 3;
constexpr uint64_t CHARACTERS_A_SECOND = 12;
constexpr uint32_t NETWORK_DELAY_MS = 50;
constexpr uint32_t SEND_INTERVAL_MS = 300;
constexpr uint64_t QUIET_END_MS = 3000; // longer than anything waits

LinkConditions Conditions(const StreamPlan& plan) {
    LinkConditions conditions;
    conditions.loss = plan.loss;
    conditions.burst = plan.burst;
    conditions.delayMs = NETWORK_DELAY_MS;
    return conditions;
}

} // namespace

// Each stream begins at another moment between two steps of the engine's feeder.
LossCurveStream::LossCurveStream(const StreamPlan& plan, uint64_t seed)
    : m_Plan(plan), m_Random(seed), m_Far(FAR_TYPES), m_Link(Conditions(plan), seed),
      m_nStart(m_Random.Below(SEND_INTERVAL_MS)) {
    m_Far.random = [] { return 1; }; // its SSRC is all the same
    m_Far.Create(plan.level);
    m_Far.Start(0, BOTH_WAYS);
    m_Host.Configure(m_Host.manager.CreateChannel(), plan.level);
    m_Host.manager.StartFDSR(0, BOTH_WAYS);
}

uint64_t LossCurveStream::TimeOfTyping(uint64_t character) const {
    return m_nStart + character * 1000 / CHARACTERS_A_SECOND;
}

uint64_t LossCurveStream::NextTyped() const {
    return m_nTyped == m_Plan.minutes * 60 * CHARACTERS_A_SECOND ? NEVER : TimeOfTyping(m_nTyped);
}

void LossCurveStream::Play() {
    uint64_t now = 0;
    // An engine that shows more than characters and marks is showing text again and again.
    while ((NextTyped() != NEVER || now < m_nLastActivity + QUIET_END_MS) &&
           m_Shown.size() <= m_nTyped + m_Packets.size()) {
        now = std::min({m_Host.NextStep(), m_Far.NextStep(), m_Link.NextArrival(), NextTyped()});
        StepTo(now);
    }
}

void LossCurveStream::StepTo(uint64_t then) {
    m_Host.StepTo(then);
    m_Far.StepTo(then);
    if (NextTyped() <= then) {
        m_Far.Type(0, std::string(1, static_cast<char>(m_Random.Between(' ', '~'))));
        ++m_nTyped;
    }
    Carry(then);
    for (const SimEvent& event : m_Host.TakeEvents()) {
        m_Shown.push_back({event, then});
        m_nLastActivity = then;
    }
}

void LossCurveStream::Carry(uint64_t now) {
    for (const ModelDatagram& datagram : m_Far.TakeSent()) {
        m_Link.Send(now, {datagram.isRtcp, datagram.data, m_Packets.size()});
        m_Packets.push_back(datagram.text);
        m_nLastActivity = now;
    }
    while (m_Link.NextArrival() <= now) {
        const Carried arrived = m_Link.TakeArrived();
        memory_network::Put(SimulatedHost::LocalPort(0), arrived.data);
        m_Arrived.push_back(arrived.index);
        m_nLastActivity = now;
    }
}

bool LossCurveStream::IsShownAsItMustBe() const {
    const std::vector<Handed> expected = WhatMustBeShown(m_Packets, m_Arrived, m_Plan.level);
    const auto same = [](const Handed& handed, const Shown& shown) {
        std::string bytes = handed.text; // a mark's are two, and as many as its count are handed over
        bytes.resize(std::min(static_cast<size_t>(handed.length), static_cast<size_t>(DISPLAY_BUFFER_SIZE)));
        return shown.event.length == handed.length && shown.event.text == bytes;
    };
    return std::equal(expected.begin(), expected.end(), m_Shown.begin(), m_Shown.end(), same);
}

// Follows what was shown from the first packet that arrived, past as many packets as each mark counts.
StreamResult LossCurveStream::Result() const {
    StreamResult result;
    result.sent = m_Packets.size();
    result.arrived = m_Arrived.size();
    if (m_Arrived.empty() || m_Arrived.back() <= m_Arrived.front() + m_Plan.level + 1) {
        return result;
    }
    std::vector<size_t> first = {0}; // character of each packet
    for (const std::string& text : m_Packets) {
        first.push_back(first.back() + text.size());
    }
    const size_t begin = first[m_Arrived.front() + 1];
    const size_t end = first[m_Arrived.back() - m_Plan.level];
    result.characters = end - begin;
    result.packets = m_Arrived.back() - m_Plan.level - m_Arrived.front() - 1;
    size_t at = first[m_Arrived.front()];
    for (const Shown& shown : m_Shown) {
        if (shown.event.text[0] != '\xFD') {
            result.delaysMs.push_back(shown.time - TimeOfTyping(at++));
        } else if (at < m_nTyped) { // else the packets that are missing had no text
            const auto packet = std::upper_bound(first.begin(), first.end(), at) - 1;
            const size_t next = packet[shown.event.length];
            result.charactersLost += std::max(std::min(next, end), begin) - std::min(std::max(at, begin), end);
            at = next;
        }
    }
    return result;
}
