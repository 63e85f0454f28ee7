#include "sim/SimulatedCall.h"

#include "sim/ShownText.h"
#include "tests/support/ManualTime.h"

#include <algorithm>

namespace {

constexpr int ENGINE = 0;
constexpr int FAR = 1;
constexpr int BOTH_WAYS = 3;
constexpr ModelTypes ENGINE_TYPES = {SIM_SEND_T140, SIM_SEND_RED, SIM_RECV_T140, SIM_RECV_RED};
constexpr ModelTypes FAR_TYPES = {SIM_RECV_T140, SIM_RECV_RED, SIM_SEND_T140, SIM_SEND_RED};
constexpr uint64_t QUIET_END_MS = 5000;
constexpr uint64_t DRAIN_LIMIT_MS = 10000000; // 64 KiB behind a level of 16 go out in a quarter of an hour

// The generator of the virtual clock's unit.
std::function<uint32_t()> Recognisable(uint32_t step) {
    return [step, last = 0U]() mutable { return last += step; };
}

} // namespace

SimulatedCall::SimulatedCall(uint64_t seed, const CallPlan& plan)
    : m_Plan(plan), m_Random(seed), m_Model(ENGINE_TYPES) {
    manual_time::StepWallClock(plan.wallMs);
    m_Model.clock.wallAtZero = plan.wallMs;
    m_Model.random = Recognisable(0x11111111);
    m_Parties.resize(static_cast<size_t>(plan.channels));
    for (int channel = 0; channel < plan.channels; ++channel) {
        Open(channel);
    }
    m_nNextWild = plan.quiet ? NEVER : plan.idleMs;
}

void SimulatedCall::Open(int channel) {
    auto& party = m_Parties[static_cast<size_t>(channel)];
    party = std::make_unique<Party>(FAR_TYPES, m_Plan, m_Random.Bits());
    ProcessModel& far = party->far;
    far.clock.wallAtZero = m_Plan.wallMs + m_Random.Below(100000);
    far.random = Recognisable(m_Random.Below(UINT32_MAX) | 1);
    far.Create(m_Plan.level);
    far.clock.tickBase -= 100000; // it has run for a while
    far.SkipTo(m_Model.clock.now);
    far.Start(0, BOTH_WAYS);
    party->nextTyped[ENGINE] = party->nextTyped[FAR] = m_Model.clock.now;
    Expect(m_Host.manager.CreateChannel() == m_Model.Create(m_Plan.level), "a channel is created");
    m_Host.Configure(channel, m_Plan.level);
    Expect(m_Host.manager.StartFDSR(channel, BOTH_WAYS) == m_Model.Start(channel, BOTH_WAYS), "a channel is started");
    m_nShown = channel;
}

void SimulatedCall::SetRtcp(int channel, bool on) {
    m_Host.manager.SetRtcpCallOptions(channel, on);
    if (m_Model.Exists(channel)) {
        m_Model.SetRtcp(channel, on);
    }
    m_Parties[static_cast<size_t>(channel)]->far.SetRtcp(0, on);
}

std::string SimulatedCall::Run() {
    if (m_Plan.idleMs != 0) {
        SkipTo(m_Plan.idleMs);
    }
    for (int turn = 0; turn < m_Plan.turns && m_Failure.empty(); ++turn) {
        if (turn > 0) {
            const int channel = turn % m_Plan.channels;
            m_Host.manager.DeleteChannel(channel);
            m_Model.Delete(channel);
            Open(channel);
        }
        PlayTurn();
    }
    for (int channel = 0; channel < MAX_CHANNELS; ++channel) {
        m_Host.manager.DeleteChannel(channel);
    }
    Expect(manual_time::LiveTimers() == 0 && memory_network::OpenSockets() == 0, "nothing is left of deleted channels");
    return m_Failure;
}

void SimulatedCall::PlayTurn() {
    for (int channel = 0; channel < m_Plan.channels && m_Plan.rtcp; ++channel) {
        SetRtcp(channel, true);
    }
    const uint64_t end = m_Model.clock.now + m_Plan.durationMs;
    m_bTyping = true;
    while (m_Model.clock.now < end && m_Failure.empty()) {
        StepTo(std::min(end, NextStep()));
        TypeWhatIsDue();
        if (m_Model.clock.now >= m_nNextWild) {
            DoSomethingWild();
        }
        CarryAndCompare();
        CheckTimers();
    }
    Drain();
    for (int channel = 0; channel < m_Plan.channels && m_Plan.quiet && m_Failure.empty(); ++channel) {
        if (HasTurn(channel)) {
            CheckRecord(channel, ENGINE);
        }
    }
    if (m_Plan.quiet && m_Failure.empty()) {
        CheckRecord(m_nShown, FAR);
    }
}

void SimulatedCall::Expect(bool held, const std::string& claim) {
    if (!held && m_Failure.empty()) {
        m_Failure = "at " + std::to_string(m_Model.clock.now) + " ms: " + claim;
    }
}

uint64_t SimulatedCall::NextStep() const {
    uint64_t next = std::min(m_Host.NextStep(), m_Model.NextStep());
    if (m_bTyping) {
        next = std::min(next, m_nNextWild);
    }
    for (const auto& party : m_Parties) {
        next = std::min({next, party->far.NextStep(), party->toFar.NextArrival(), party->toEngine.NextArrival()});
        for (int side = ENGINE; side <= FAR && m_bTyping; ++side) {
            next = std::min(next, std::max(party->nextTyped[side], m_Model.clock.now));
        }
    }
    return next;
}

void SimulatedCall::StepTo(uint64_t then) {
    m_Host.StepTo(then);
    m_Model.StepTo(then);
    for (int channel = 0; channel < m_Plan.channels; ++channel) {
        m_Parties[static_cast<size_t>(channel)]->far.StepTo(then);
    }
    CarryAndCompare();
    for (int channel = 0; channel < m_Plan.channels; ++channel) {
        Arrive(channel);
    }
}

void SimulatedCall::SkipTo(uint64_t then) {
    m_Host.SkipTo(then);
    m_Model.SkipTo(then);
    for (const auto& party : m_Parties) {
        party->far.SkipTo(then);
        party->nextTyped[ENGINE] = party->nextTyped[FAR] = then;
    }
}

// What the engine has sent is what the model has sent, and goes on its way.
void SimulatedCall::CarryAndCompare() {
    auto sent = memory_network::TakeSent();
    auto expected = m_Model.TakeSent();
    std::stable_sort(sent.begin(), sent.end(), [](const auto& a, const auto& b) { return a.fromPort < b.fromPort; });
    std::stable_sort(expected.begin(), expected.end(), [](const ModelDatagram& a, const ModelDatagram& b) {
        return std::pair(a.channel, a.isRtcp) < std::pair(b.channel, b.isRtcp);
    });
    Expect(sent.size() == expected.size(), "as many datagrams are sent as must be");
    for (size_t i = 0; i < expected.size() && m_Failure.empty(); ++i) {
        const ModelDatagram& datagram = expected[i];
        const int port = datagram.isRtcp ? 1 : 0;
        Expect(sent[i].fromPort == SimulatedHost::LocalPort(datagram.channel) + port &&
                   sent[i].toPort == SimulatedHost::FarPort(datagram.channel) + port && sent[i].data == datagram.data,
               "a datagram is sent as it must be");
        Party& party = *m_Parties[static_cast<size_t>(datagram.channel)];
        if (!datagram.isRtcp) {
            party.record[ENGINE].packets.push_back(datagram.text);
        }
        party.toFar.Send(m_Model.clock.now, {datagram.isRtcp, datagram.data, party.record[ENGINE].packets.size() - 1});
        Digest(sent[i].data.data(), sent[i].data.size());
        ++m_Counts.packets;
        m_nLastActivity = m_Model.clock.now;
    }
    CompareEvents();
    for (int channel = 0; channel < m_Plan.channels; ++channel) {
        CarryFar(channel);
    }
}

void SimulatedCall::CompareEvents() {
    const auto events = m_Host.TakeEvents();
    const auto expected = m_Model.TakeEvents();
    Expect(events.size() == expected.size(), "as many events are raised as must be");
    for (size_t i = 0; i < expected.size() && m_Failure.empty(); ++i) {
        const Handed& handed = expected[i].handed;
        m_nLastActivity = m_Model.clock.now;
        std::string bytes = handed.text;
        if (handed.isMark && handed.length > 0) {
            bytes.resize(std::min(static_cast<size_t>(handed.length), static_cast<size_t>(DISPLAY_BUFFER_SIZE)));
        }
        Expect(events[i].channel == expected[i].channel && events[i].id == expected[i].id &&
                   events[i].length == handed.length && events[i].text == bytes,
               "an event is raised as it must be");
        Digest(events[i].text.data(), events[i].text.size());
        m_Counts.timeouts += expected[i].id == VRN_EVENT_RTCP_TIMEOUT ? 1 : 0;
        m_Counts.marks += handed.isMark ? 1 : 0;
        m_Counts.shown += expected[i].id == VRN_EVENT_TEXT_RECEIVED && !handed.isMark ? 1 : 0;
        if (expected[i].id == VRN_EVENT_TEXT_RECEIVED && m_Plan.quiet) {
            m_Parties[static_cast<size_t>(expected[i].channel)]->record[FAR].shown.push_back(handed);
        }
    }
}

void SimulatedCall::CarryFar(int channel) {
    Party& party = *m_Parties[static_cast<size_t>(channel)];
    for (const ModelDatagram& datagram : party.far.TakeSent()) {
        if (!datagram.isRtcp) {
            party.record[FAR].packets.push_back(datagram.text);
            party.lastFarPacket = datagram.data;
        }
        party.toEngine.Send(m_Model.clock.now, {datagram.isRtcp, datagram.data, party.record[FAR].packets.size() - 1});
        ++m_Counts.packets;
    }
    for (const ModelEvent& event : party.far.TakeEvents()) {
        m_nLastActivity = m_Model.clock.now;
        if (event.id == VRN_EVENT_TEXT_RECEIVED && m_Plan.quiet) {
            party.record[ENGINE].shown.push_back(event.handed);
        }
    }
}

void SimulatedCall::Arrive(int channel) {
    Party& party = *m_Parties[static_cast<size_t>(channel)];
    while (party.toFar.NextArrival() <= m_Model.clock.now) {
        const Carried arrived = party.toFar.TakeArrived();
        party.far.Put(0, arrived.isRtcp, arrived.data);
        if (!arrived.isRtcp) {
            party.record[ENGINE].arrived.push_back(arrived.index);
        }
    }
    while (party.toEngine.NextArrival() <= m_Model.clock.now) {
        const Carried arrived = party.toEngine.TakeArrived();
        memory_network::Put(SimulatedHost::LocalPort(channel) + (arrived.isRtcp ? 1 : 0), arrived.data);
        m_Model.Put(channel, arrived.isRtcp, arrived.data);
        if (!arrived.isRtcp) {
            party.record[FAR].arrived.push_back(arrived.index);
        }
    }
}

void SimulatedCall::TypeWhatIsDue() {
    for (int channel = 0; channel < m_Plan.channels; ++channel) {
        Party& party = *m_Parties[static_cast<size_t>(channel)];
        for (int side = ENGINE; side <= FAR; ++side) {
            if (party.nextTyped[side] > m_Model.clock.now) {
                continue;
            }
            if (!HasTurn(channel)) {
                party.nextTyped[side] = NEVER;
                continue;
            }
            Typist& typist = party.typist[side];
            const bool even = m_Plan.msPerCharacter != 0;
            party.nextTyped[side] = m_Model.clock.now + (even ? m_Plan.msPerCharacter : Pause(typist));
            Type(channel, side, even ? typist.Character() : typist.Next());
        }
    }
}

// Now and then until the last generation's age is the first that a block header does not hold, or the last that it does.
uint64_t SimulatedCall::Pause(Typist& typist) {
    constexpr uint64_t limit = 1 << 14;
    return m_Random.Chance(0.005) ? m_Plan.level * 300 + limit - m_Random.Below(2) : typist.Pause();
}

void SimulatedCall::Type(int channel, int side, const std::string& text) {
    Party& party = *m_Parties[static_cast<size_t>(channel)];
    const int accepted = side == FAR ? party.far.Type(0, text) : m_Model.Type(channel, text);
    if (side == ENGINE) {
        Expect(m_Host.Type(channel, text) == accepted, "typed text is accepted as it must be");
    }
    if (accepted == 1 && m_Plan.quiet) {
        party.record[side].typed += text;
    }
}

// Timers run when they must, and each started channel has three.
void SimulatedCall::CheckTimers() {
    size_t started = 0;
    for (int channel = 0; channel < MAX_CHANNELS; ++channel) {
        started += m_Model.Exists(channel) && m_Model.IsStarted(channel) ? 1 : 0;
    }
    Expect(m_Host.NextStep() == m_Model.NextStep(), "the next step comes when it must");
    Expect(manual_time::LiveTimers() == 3 * started, "each started channel has three timers");
    Expect(memory_network::OpenSockets() == 2 * started, "each started channel has two sockets");
}

// Typing ends, and with it the ticks; what waits is shown to the end.
void SimulatedCall::Drain() {
    m_bTyping = false;
    for (int channel = 0; channel < m_Plan.channels; ++channel) {
        SetRtcp(channel, false);
    }
    m_nLastActivity = m_Model.clock.now;
    const uint64_t latest = m_Model.clock.now + DRAIN_LIMIT_MS;
    while ((m_Model.clock.now < m_nLastActivity + QUIET_END_MS || manual_time::NextExpiry() != UINT64_MAX) &&
           m_Model.clock.now < latest && m_Failure.empty()) {
        StepTo(NextStep());
        CarryAndCompare();
    }
    Expect(manual_time::NextExpiry() == UINT64_MAX, "the ticks end");
}

void SimulatedCall::CheckRecord(int channel, int side) {
    const Record& record = m_Parties[static_cast<size_t>(channel)]->record[side];
    std::string sent;
    for (const std::string& text : record.packets) {
        sent += text;
    }
    const std::string who = (side == ENGINE ? "sent on channel " : "received on channel ") + std::to_string(channel);
    Expect(sent == record.typed, who + ": everything typed is sent once and in order");
    const std::vector<Handed> expected = WhatMustBeShown(record.packets, record.arrived, m_Plan.level);
    const auto same = [](const Handed& a, const Handed& b) { return a.text == b.text && a.length == b.length; };
    const bool held = std::equal(expected.begin(), expected.end(), record.shown.begin(), record.shown.end(), same);
    Expect(held, who + ": text that arrived is shown once and in order, and each gap marked with its count");
}

void SimulatedCall::Digest(const void* bytes, size_t length) {
    for (size_t i = 0; i < length; ++i) {
        m_Counts.digest = (m_Counts.digest ^ static_cast<const uint8_t*>(bytes)[i]) * 0x100000001B3;
    }
}
