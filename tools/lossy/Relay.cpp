#include "lossy/Relay.h"

#include <cerrno>
#include <cstring>
#include <poll.h>
#include <unistd.h>

namespace {

constexpr size_t MAX_DATAGRAM = 65535;

Direction Opposite(Direction direction) {
    return direction == LEFT_TO_RIGHT ? RIGHT_TO_LEFT : LEFT_TO_RIGHT;
}

// A socket that hears and reaches that one party alone, or -1 with errno.
int OpenConnectedSocket(const Endpoint& here, const Endpoint& party) {
    const int fd = OpenBoundSocket(here);
    sockaddr_storage address = {};
    const socklen_t length = party.ToSockaddr(address);
    if (fd < 0 || connect(fd, reinterpret_cast<sockaddr*>(&address), length) == 0) {
        return fd;
    }
    const int error = errno;
    close(fd);
    errno = error;
    return -1;
}

} // namespace

Relay::Relay(const LossyOptions& options, const RelayReport& report)
    : m_Options(options), m_Report(report), m_Pattern(options.seed, options.lossPercent), m_nFds{{-1, -1}, {-1, -1}},
      m_Datagram(MAX_DATAGRAM) {}

Relay::~Relay() {
    for (auto& side : m_nFds) {
        for (const int fd : side) {
            if (fd >= 0) {
                close(fd);
            }
        }
    }
}

std::string Relay::Open() {
    const std::string problem = OpenSide(m_Options.left, m_nFds[LEFT_TO_RIGHT]);
    return problem.empty() ? OpenSide(m_Options.right, m_nFds[RIGHT_TO_LEFT]) : problem;
}

std::string Relay::OpenSide(const RelaySide& side, int (&fds)[PACKET_KIND_COUNT]) {
    for (const PacketKind kind : {RTP, RTCP}) {
        const Endpoint here = kind == RTP ? side.here : side.here.Rtcp();
        const Endpoint party = kind == RTP ? side.party : side.party.Rtcp();
        fds[kind] = OpenConnectedSocket(here, party);
        if (fds[kind] < 0) {
            return "cannot relay from " + here.ToString() + " to " + party.ToString() + ": " + strerror(errno);
        }
    }
    return "";
}

void Relay::Run(int stopFd) {
    pollfd waits[] = {{m_nFds[LEFT_TO_RIGHT][RTP], POLLIN, 0},
                      {m_nFds[LEFT_TO_RIGHT][RTCP], POLLIN, 0},
                      {m_nFds[RIGHT_TO_LEFT][RTP], POLLIN, 0},
                      {m_nFds[RIGHT_TO_LEFT][RTCP], POLLIN, 0},
                      {stopFd, POLLIN, 0}};
    constexpr nfds_t sockets = DIRECTION_COUNT * PACKET_KIND_COUNT;
    while ((waits[sockets].revents & POLLIN) == 0) {
        poll(waits, sockets + 1, -1);
        for (nfds_t i = 0; i < sockets; ++i) {
            if (waits[i].revents != 0) {
                Receive(static_cast<Direction>(i / PACKET_KIND_COUNT), static_cast<PacketKind>(i % PACKET_KIND_COUNT));
            }
        }
    }
}

void Relay::Receive(Direction direction, PacketKind kind) {
    const ssize_t length = recv(m_nFds[direction][kind], m_Datagram.data(), m_Datagram.size(), MSG_DONTWAIT);
    // Also what a party that is not there yet, or no more, reports: nothing was received.
    if (length < 0 || !Passes(direction, kind, m_Datagram.data(), static_cast<size_t>(length))) {
        return;
    }
    const int out = m_nFds[Opposite(direction)][kind];
    if (send(out, m_Datagram.data(), static_cast<size_t>(length), 0) < 0 && errno == ECONNREFUSED) {
        // The error was an earlier datagram's, and is now cleared.
        send(out, m_Datagram.data(), static_cast<size_t>(length), 0);
    }
}

bool Relay::Passes(Direction direction, PacketKind kind, const uint8_t* data, size_t length) {
    if (kind == RTCP) {
        return RtcpPasses(direction);
    }
    RtpPacket packet;
    if (!RtpPacket::Parse(data, length, m_Options.redPayloadType, packet)) {
        ++m_Accounts[direction].notRtp;
        return true;
    }
    return RtpPasses(direction, packet);
}

bool Relay::RtpPasses(Direction direction, const RtpPacket& packet) {
    StreamLedger& ledger = m_Accounts[direction].rtp;
    const PacketId id = {direction, RTP, ledger.ExtendedNumber(packet)};
    const bool passes = ledger.IsFirst(packet) || packet.IsLastRepeat() || !m_Pattern.Loses(id);
    LostForGood lost;
    ledger.Enter(packet, passes, lost);
    if (!passes) {
        m_Report.ShowDrop(direction, packet);
    }
    if (lost.packets > 0) {
        m_Report.ShowLostForGood(direction, lost);
    }
    return passes;
}

bool Relay::RtcpPasses(Direction direction) {
    DirectionAccount& account = m_Accounts[direction];
    const PacketId id = {direction, RTCP, account.rtcpRelayed + account.rtcpDropped};
    const bool passes = !m_Pattern.Loses(id);
    ++(passes ? account.rtcpRelayed : account.rtcpDropped);
    if (!passes) {
        m_Report.ShowRtcpDrop(direction);
    }
    return passes;
}
