#include "sim/SimulatedHost.h"

#include "tests/support/ManualTime.h"

#include <algorithm>
#include <utility>

namespace {

constexpr uint64_t RECEIVER_PAUSE_MS = 30;
constexpr uint64_t FEED_INTERVAL_MS = 50;
constexpr const char* ADDRESS = "127.0.0.1";

SimulatedHost* s_Host = nullptr;

} // namespace

SimulatedHost::SimulatedHost() {
    manual_time::Reset();
    memory_network::Reset();
    s_Host = this;
    manager.SetEventHandler(Handle);
}

SimulatedHost::~SimulatedHost() {
    onEvent = nullptr;
    for (int channel = 0; channel < MAX_CHANNELS; ++channel) {
        manager.DeleteChannel(channel);
    }
    s_Host = nullptr;
}

void SimulatedHost::Handle(int channel, int event, void* data) {
    SimEvent kept = {channel, event, "", 0};
    if (event == VRN_EVENT_TEXT_RECEIVED) {
        const stVRN_DisplayText* shown = static_cast<stVRN_DisplayText*>(data);
        kept.length = shown->nLen;
        // A loss mark is two bytes with a count for a length, of any size and sign.
        const int bytes = kept.length < 0 ? 2 : std::min(kept.length, static_cast<int>(DISPLAY_BUFFER_SIZE));
        kept.text.assign(shown->pText, shown->pText + bytes);
    }
    s_Host->m_Events.push_back(kept);
    if (s_Host->onEvent) {
        s_Host->onEvent(channel, event);
    }
}

void SimulatedHost::Configure(int channel, uint32_t level) {
    stVRN_CodecInfo codec = {{}, SIM_RECV_T140, SIM_RECV_RED, SIM_SEND_T140, SIM_SEND_RED, level};
    manager.SetSendCodec(channel, &codec);
    manager.SetSendIPnPort(channel, ADDRESS, FarPort(channel));
    manager.SetRecvIPnPort(channel, ADDRESS, LocalPort(channel));
}

int SimulatedHost::Type(int channel, std::string text) {
    return manager.SendText(channel, text.data(), static_cast<unsigned>(text.size()));
}

uint64_t SimulatedHost::NextStep() const {
    uint64_t next = std::min(manual_time::NextExpiry(), m_nNextFeed);
    if (!memory_network::Readable().empty()) {
        next = std::min(next, std::max(m_nNextRound, manual_time::Now()));
    }
    return next;
}

void SimulatedHost::StepTo(uint64_t then) {
    manual_time::Advance(then - manual_time::Now());
    if (then >= m_nNextRound) {
        ReceiverRound();
    }
    if (then >= m_nNextFeed) {
        manager.GetTextAndDisplay();
        m_nNextFeed = then + FEED_INTERVAL_MS;
    }
}

void SimulatedHost::RunUntil(uint64_t then) {
    do {
        StepTo(std::min(then, NextStep()));
    } while (manual_time::Now() < then);
}

void SimulatedHost::SkipTo(uint64_t then) {
    manual_time::Advance(then - manual_time::Now());
    m_nNextFeed = then;
}

// One round of the receiver's thread, and the dispatch thread's work on each report.
void SimulatedHost::ReceiverRound() {
    const std::vector<CTextSocketInfo*> readable = memory_network::Readable();
    for (CTextSocketInfo* info : readable) {
        manager.OnReceive(info);
        manager.DispatchNext(__PRETTY_FUNCTION__);
    }
    if (!readable.empty()) {
        m_nNextRound = manual_time::Now() + RECEIVER_PAUSE_MS;
    }
}

std::vector<SimEvent> SimulatedHost::TakeEvents() {
    return std::exchange(m_Events, {});
}
