// The rules of RTCP reports and of the watch over the far end's (RFC 3550, 6.4), written once more from scratch.
#ifndef SIM_MODEL_RTCP_MODEL_H
#define SIM_MODEL_RTCP_MODEL_H

#include "sim/model/ModelClock.h"
#include "sim/model/ReceiverModel.h"

struct SentCounts {
    uint32_t ssrc = 0;
    uint32_t packets = 0;
    uint32_t octets = 0; // headers among them
};

class RtcpModel {
public:
    explicit RtcpModel(const ModelClock& clock) : m_Clock(clock) {}

    // The transport starts: reports begin anew, what was counted before stays.
    void Start();
    void Enable();
    void Disable();
    bool IsEnabled() const { return m_bEnabled; }
    void Receive(const Bytes& datagram);
    // The report that is due, and the next one's time.
    Bytes Report(bool sends, const SentCounts& sent, ReceiverModel& received);
    // The check that is due: true when the far end has been silent for too long.
    bool Check();

    int16_t timeout = 0; // seconds
    uint64_t reportDue = NEVER;
    uint64_t checkDue = NEVER;

private:
    void ArmCheck(int16_t elapsed);
    void AddBlock(Datagram& report, const ReceiverModel& received);

    const ModelClock& m_Clock;
    bool m_bEnabled = false;
    Bytes m_Buffer; // what a short datagram leaves standing is read, too
    uint32_t m_nArrived = 0;
    uint32_t m_nSrArrived = 0; // 0: none
    uint32_t m_nFarSsrc = 0;
    uint32_t m_nFarNtp[2] = {};
    uint32_t m_nCount = 1;
    uint32_t m_nExpectedBefore = 0;
    uint32_t m_nReceivedBefore = 0;
};

#endif
