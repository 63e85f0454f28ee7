#include "sim/model/ProcessModel.h"

#include <algorithm>

namespace {
constexpr uint64_t ROUND_MS = 30;
constexpr uint64_t FEED_MS = 50;
constexpr int SEND = 1;
constexpr int RECEIVE = 2;
constexpr uint32_t DISPLAY_SIZE = 100;
} // namespace

int ProcessModel::Create(uint32_t level) {
    const auto isFree = [](const auto& channel) { return channel == nullptr; };
    const auto free = std::find_if(std::begin(m_Channels), std::end(m_Channels), isFree);
    if (free == std::end(m_Channels)) {
        return -1;
    }
    if (std::all_of(std::begin(m_Channels), std::end(m_Channels), isFree)) {
        clock.tickBase = clock.Wall();
    }
    *free = std::make_unique<Channel>(clock);
    (*free)->level = level;
    return static_cast<int>(free - m_Channels);
}

void ProcessModel::Delete(int channel) {
    m_Channels[channel] = nullptr;
}

void ProcessModel::StartTransport(int channel) {
    StopTransport(channel);
    Channel& c = *m_Channels[channel];
    c.sent = {random() & 0x7FFFFFFF, 0, 0};
    const auto send = [this, channel](const ModelPayload& payload) { SendPacket(channel, payload); };
    c.codec.reset(new Codec{{clock, c.level, m_Types.sendT140, send}, {c.level % 256, m_nLastLoad}});
    c.rtcp.Start();
}

void ProcessModel::StopTransport(int channel) {
    Channel& c = *m_Channels[channel];
    c.codec = nullptr;
    c.rtcp.Disable();
    c.rtpWatched = c.rtcpWatched = false;
    c.rtpWaiting.clear();
    c.rtcpWaiting.clear();
}

void ProcessModel::StartSend(int channel) {
    m_Channels[channel]->seq = 1;
    m_Channels[channel]->sends = true;
}

void ProcessModel::StopSend(int channel) {
    Channel& c = *m_Channels[channel];
    if (c.codec != nullptr) {
        c.codec->sender.Stop();
    }
    c.sends = false;
}

bool ProcessModel::StartReceive(int channel) {
    Channel& c = *m_Channels[channel];
    if (c.codec == nullptr) {
        return false;
    }
    c.rtpWatched = true;
    c.codec->playout.ForgetPlayed();
    m_nActive = channel;
    return true;
}

void ProcessModel::StopReceive(int channel) {
    m_Channels[channel]->rtpWatched = false;
}

int ProcessModel::Start(int channel, int direction) {
    StartTransport(channel);
    if ((direction & SEND) != 0) {
        StartSend(channel);
    }
    if ((direction & RECEIVE) != 0) {
        StartReceive(channel);
    }
    m_Channels[channel]->direction = direction;
    return 1;
}

int ProcessModel::Stop(int channel) {
    Channel& c = *m_Channels[channel];
    if ((c.direction & SEND) != 0) {
        StopSend(channel);
    }
    if ((c.direction & RECEIVE) != 0) {
        StopReceive(channel);
    }
    StopTransport(channel);
    c.direction = 0;
    return 1;
}

int ProcessModel::Restart(int channel) {
    const int direction = m_Channels[channel]->direction;
    Stop(channel);
    return Start(channel, direction);
}

// Always told as a success, whatever came of it.
int ProcessModel::Switch(int channel, int direction) {
    Channel& c = *m_Channels[channel];
    const int old = c.direction;
    if (direction == old) {
        return 1;
    }
    const bool sent = (old & SEND) != 0;
    const bool received = (old & RECEIVE) != 0;
    const bool toSend = (direction & SEND) != 0;
    const bool toReceive = (direction & RECEIVE) != 0;
    if (old == 0 && toSend) {
        StartSend(channel);
    }
    if (sent && !toSend) {
        StopSend(channel);
    }
    if ((old == 0 || sent) && toReceive && !StartReceive(channel)) {
        return 1;
    }
    if (received && !toReceive) {
        StopReceive(channel);
    }
    if (received && toSend) {
        StartSend(channel);
    }
    c.direction = direction;
    return 1;
}

int ProcessModel::Type(int channel, const std::string& text) {
    Channel* const c = m_Channels[channel].get();
    const bool sends = c != nullptr && (c->direction & SEND) != 0;
    return sends && c->codec != nullptr ? c->codec->sender.Type(text) : -1;
}

int ProcessModel::SetRtcp(int channel, bool on) {
    Channel& c = *m_Channels[channel];
    if (on == c.rtcp.IsEnabled()) {
        return 1;
    }
    if (on && c.codec == nullptr) {
        return -1;
    }
    c.rtcpWatched = on;
    if (on) {
        c.rtcp.Enable();
    } else {
        c.rtcp.Disable();
    }
    return 1;
}

void ProcessModel::SendPacket(int channel, const ModelPayload& payload) {
    Channel& c = *m_Channels[channel];
    if (!c.sends) {
        return;
    }
    Datagram packet;
    const uint8_t type = payload.isRed ? m_Types.sendRed : m_Types.sendT140;
    packet.RtpHeader(payload.marker, type, c.seq, payload.timestamp, c.sent.ssrc ^ ssrcMask).Text(payload.data);
    const Bytes& bytes = packet;
    m_Sent.push_back({channel, false, bytes, payload.text, c.seq});
    ++c.seq;
    ++c.sent.packets;
    c.sent.octets += static_cast<uint32_t>(bytes.size());
}

void ProcessModel::Put(int channel, bool rtcp, const Bytes& datagram) {
    Channel* const c = m_Channels[channel].get();
    if (c != nullptr && c->codec != nullptr) {
        (rtcp ? c->rtcpWaiting : c->rtpWaiting).push_back(datagram);
    }
}

bool ProcessModel::AnyReadable() const {
    return std::any_of(std::begin(m_Channels), std::end(m_Channels), [](const auto& c) {
        return c != nullptr &&
               ((c->rtpWatched && !c->rtpWaiting.empty()) || (c->rtcpWatched && !c->rtcpWaiting.empty()));
    });
}

uint64_t ProcessModel::NextStep() const {
    uint64_t next = m_nNextFeed;
    for (const auto& c : m_Channels) {
        if (c != nullptr && c->codec != nullptr) {
            next = std::min({next, c->codec->sender.due, c->rtcp.reportDue, c->rtcp.checkDue});
        }
    }
    return AnyReadable() ? std::min(next, std::max(m_nNextRound, clock.now)) : next;
}

void ProcessModel::RunTimers(int channel) {
    Channel& c = *m_Channels[channel];
    if (c.codec->sender.due <= clock.now) {
        c.codec->sender.Tick();
    }
    if (c.rtcp.reportDue <= clock.now) {
        const bool sends = c.direction == SEND || c.direction == (SEND | RECEIVE);
        m_Sent.push_back({channel, true, c.rtcp.Report(sends, c.sent, c.receiver), "", 0});
    }
    if (c.rtcp.checkDue <= clock.now && c.rtcp.Check()) {
        m_Events.push_back({channel, 2, {}});
    }
}

void ProcessModel::StepTo(uint64_t then) {
    RunTimersTo(then);
    if (then >= m_nNextRound && AnyReadable()) {
        ReceiverRound();
    }
    if (then >= m_nNextFeed) {
        Feed();
        m_nNextFeed = then + FEED_MS;
    }
}

void ProcessModel::SkipTo(uint64_t then) {
    RunTimersTo(then);
    m_nNextFeed = then;
}

void ProcessModel::RunTimersTo(uint64_t then) {
    clock.now = then;
    for (int channel = 0; channel < 3; ++channel) {
        if (m_Channels[channel] != nullptr && m_Channels[channel]->codec != nullptr) {
            RunTimers(channel);
        }
    }
}

// Takes one datagram from each socket that has one.
void ProcessModel::ReceiverRound() {
    const auto take = [](bool watched, std::deque<Bytes>& waiting) -> std::optional<Bytes> {
        if (!watched || waiting.empty()) {
            return {};
        }
        const Bytes datagram = waiting.front();
        waiting.pop_front();
        return datagram;
    };
    for (const auto& c : m_Channels) {
        if (c == nullptr || c->codec == nullptr) {
            continue;
        }
        if (const auto datagram = take(c->rtpWatched, c->rtpWaiting)) {
            if (const auto packet = c->receiver.Receive(*datagram, m_Types.recvT140, m_Types.recvRed)) {
                c->codec->playout.Put(*packet);
            }
        }
        if (const auto datagram = take(c->rtcpWatched, c->rtcpWaiting)) {
            c->rtcp.Receive(*datagram);
        }
    }
    m_nNextRound = clock.now + ROUND_MS;
}

void ProcessModel::Feed() {
    if (m_nActive < 0 || m_Channels[m_nActive] == nullptr || m_Channels[m_nActive]->codec == nullptr) {
        return;
    }
    const Handed handed = m_Channels[m_nActive]->codec->playout.Next(clock.Tick(), DISPLAY_SIZE);
    if (handed.length != 0) {
        m_Events.push_back({m_nActive, 1, handed});
    }
}
