// The sending rules of RFC 4103 as this engine has them, written once more from scratch: what typed text becomes.
#ifndef SIM_MODEL_SENDER_MODEL_H
#define SIM_MODEL_SENDER_MODEL_H

#include "sim/model/ModelClock.h"

#include <deque>
#include <functional>
#include <string>

struct ModelPayload {
    std::string data; // as it goes behind the RTP header
    std::string text; // what is new in it
    bool isRed;
    bool marker;
    uint32_t timestamp;
};

class SenderModel {
public:
    using Send = std::function<void(const ModelPayload&)>;

    // The history begins with as many empty generations as the level says.
    SenderModel(const ModelClock& clock, uint32_t level, uint8_t payloadType, Send send);

    int Type(const std::string& text); // 1 or -1
    void Tick();
    // Drops the history and what waits; the next packets carry only what is sent from here on.
    void Stop();

    uint64_t due = NEVER; // of the tick

private:
    struct Generation {
        uint32_t timestamp;
        std::string text;
    };

    void SendNow(const std::string& text, bool marker);
    std::string Gather();
    size_t HistoryBytes() const;

    const ModelClock& m_Clock;
    const uint32_t m_nLevel;
    const uint8_t m_nPayloadType;
    const Send m_Send;
    bool m_bIdle = true;
    int m_nOwed = 0;
    std::string m_Waiting;
    std::deque<Generation> m_History;
};

#endif
