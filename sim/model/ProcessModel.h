// A process with the engine in it, by the rules alone: up to three channels that send, receive and report, and the one
// of them whose text is delivered. The simulation holds the engine against it, and uses it as the far end of a call.
#ifndef SIM_MODEL_PROCESS_MODEL_H
#define SIM_MODEL_PROCESS_MODEL_H

#include "sim/model/RtcpModel.h"
#include "sim/model/SenderModel.h"

#include <memory>
#include <utility>

struct ModelTypes {
    uint8_t sendT140, sendRed, recvT140, recvRed;
};

struct ModelEvent {
    int channel = 0;
    int id = 0; // 1 text, 2 RTCP time-out
    Handed handed;
};

struct ModelDatagram {
    int channel;
    bool isRtcp;
    Bytes data;
    std::string text; // what is new in it
    uint32_t number;  // RTP sequence number
};

class ProcessModel {
public:
    explicit ProcessModel(const ModelTypes& types) : m_Types(types) {}

    // The host's operations; results as the engine's.
    int Create(uint32_t level);
    void Delete(int channel);
    int Start(int channel, int direction);
    int Stop(int channel);
    int Switch(int channel, int direction);
    int Restart(int channel);
    int Type(int channel, const std::string& text);
    int SetRtcp(int channel, bool on);
    void SetRtcpTimeout(int channel, int16_t seconds) { m_Channels[channel]->rtcp.timeout = seconds; }
    void SetLevel(int channel, uint32_t level) { m_Channels[channel]->level = level; }

    bool Exists(int channel) const { return m_Channels[channel] != nullptr; }
    bool IsStarted(int channel) const { return m_Channels[channel]->codec != nullptr; }

    // Puts a datagram before a channel's socket; lost while it is not open.
    void Put(int channel, bool rtcp, const Bytes& datagram);
    // When something is next to happen, and letting it: timers, then the receiver, then the feeder.
    uint64_t NextStep() const;
    void StepTo(uint64_t then);
    // The same without feeder steps.
    void SkipTo(uint64_t then);

    std::vector<ModelDatagram> TakeSent() { return std::exchange(m_Sent, {}); }
    std::vector<ModelEvent> TakeEvents() { return std::exchange(m_Events, {}); }

    ModelClock clock;
    std::function<uint32_t()> random; // for the SSRCs
    uint32_t ssrcMask = 0;            // flips bits of the SSRC on the wire: another sender from then on

private:
    struct Codec {
        SenderModel sender;
        PlayoutModel playout;
    };
    struct Channel {
        explicit Channel(const ModelClock& clock) : rtcp(clock) {}
        uint32_t level = 0;
        int direction = 0;
        SentCounts sent;
        uint16_t seq = 0;
        bool sends = false; // has a send buffer
        bool rtpWatched = false;
        bool rtcpWatched = false;
        ReceiverModel receiver;
        RtcpModel rtcp;
        std::unique_ptr<Codec> codec; // while the transport is started
        std::deque<Bytes> rtpWaiting;
        std::deque<Bytes> rtcpWaiting;
    };

    void StartTransport(int channel);
    void StopTransport(int channel);
    void StartSend(int channel);
    void StopSend(int channel);
    bool StartReceive(int channel);
    void StopReceive(int channel);
    void SendPacket(int channel, const ModelPayload& payload);
    void RunTimersTo(uint64_t then);
    void RunTimers(int channel);
    bool AnyReadable() const;
    void ReceiverRound();
    void Feed();

    const ModelTypes m_Types;
    std::unique_ptr<Channel> m_Channels[3];
    int m_nActive = -1;
    uint32_t m_nLastLoad = 0;
    uint64_t m_nNextRound = 0;
    uint64_t m_nNextFeed = 0;
    std::vector<ModelDatagram> m_Sent;
    std::vector<ModelEvent> m_Events;
};

#endif
