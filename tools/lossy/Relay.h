// Takes each datagram of one party, asks what the link does with it, and hands it on to the other party: at once, later,
// twice, or not at all.
#ifndef TOOLS_LOSSY_RELAY_H
#define TOOLS_LOSSY_RELAY_H

#include "lossy/LossPattern.h"
#include "lossy/PcapFile.h"
#include "lossy/RelayReport.h"

#include <map>
#include <vector>

// Confined to one thread.
class Relay {
public:
    Relay(const LossyOptions& options, const RelayReport& report, PcapFile& capture);
    ~Relay();
    Relay(const Relay&) = delete;
    Relay& operator=(const Relay&) = delete;

    // Binds the four sockets. Empty on success, else one line that says what failed.
    std::string Open();
    // Relays until `stopFd` becomes readable; what is on its way then arrives at once.
    void Run(int stopFd);

    const RelayAccounts& Accounts() const { return m_Accounts; }

private:
    using Clock = std::chrono::steady_clock;
    // A datagram on its way.
    struct Flight {
        Direction direction;
        PacketKind kind;
        uint32_t place; // among those of its direction and kind, as they came in
        std::vector<uint8_t> data;
    };

    static std::string OpenSide(const RelaySide& side, int (&fds)[PACKET_KIND_COUNT]);
    void Receive(Direction direction, PacketKind kind);
    void Capture(const Flight& flight);
    // When the datagram and its duplicate arrive, in milliseconds from now; empty when it is lost. Enters it into the
    // account.
    std::vector<unsigned> ArrivalDelays(const Flight& flight);
    bool RtpPasses(const PacketId& id, const RtpPacket& packet);
    bool RtcpPasses(const PacketId& id);

    // Of what is on its way, delivers all that is due by then.
    void DeliverUntil(Clock::time_point until);
    // For poll: milliseconds until the next arrival, -1 when none is on its way.
    int WaitMs() const;

    const LossyOptions& m_Options;
    const RelayReport& m_Report;
    PcapFile& m_Capture;
    const LossPattern m_Pattern;
    int m_nFds[DIRECTION_COUNT][PACKET_KIND_COUNT]; // by the direction whose packets come in there
    std::vector<uint8_t> m_Datagram;
    std::multimap<Clock::time_point, Flight> m_Flying; // by arrival
    uint32_t m_nReceived[DIRECTION_COUNT][PACKET_KIND_COUNT] = {};
    uint32_t m_nLatestPlace[DIRECTION_COUNT][PACKET_KIND_COUNT] = {}; // of those delivered
    RelayAccounts m_Accounts;
};

#endif
