// Takes each datagram of one party, asks what the link does with it, and hands it on to the other party or not.
#ifndef TOOLS_LOSSY_RELAY_H
#define TOOLS_LOSSY_RELAY_H

#include "lossy/LossPattern.h"
#include "lossy/RelayReport.h"

#include <vector>

// Confined to one thread.
class Relay {
public:
    Relay(const LossyOptions& options, const RelayReport& report);
    ~Relay();
    Relay(const Relay&) = delete;
    Relay& operator=(const Relay&) = delete;

    // Binds the four sockets. Empty on success, else one line that says what failed.
    std::string Open();
    // Relays until `stopFd` becomes readable.
    void Run(int stopFd);

    const RelayAccounts& Accounts() const { return m_Accounts; }

private:
    static std::string OpenSide(const RelaySide& side, int (&fds)[PACKET_KIND_COUNT]);
    void Receive(Direction direction, PacketKind kind);
    // Whether the link lets the datagram through; enters it into the account.
    bool Passes(Direction direction, PacketKind kind, const uint8_t* data, size_t length);
    bool RtpPasses(Direction direction, const RtpPacket& packet);
    bool RtcpPasses(Direction direction);

    const LossyOptions& m_Options;
    const RelayReport& m_Report;
    const LossPattern m_Pattern;
    int m_nFds[DIRECTION_COUNT][PACKET_KIND_COUNT]; // by the direction whose packets come in there
    std::vector<uint8_t> m_Datagram;
    RelayAccounts m_Accounts;
};

#endif
