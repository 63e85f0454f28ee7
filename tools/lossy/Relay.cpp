#include "lossy/Relay.h"

#include <algorithm>
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

Relay::Relay(const LossyOptions& options, const RelayReport& report, PcapFile& capture)
    : m_Options(options), m_Report(report), m_Capture(capture), m_Pattern(options.link), m_nFds{{-1, -1}, {-1, -1}},
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
        poll(waits, sockets + 1, WaitMs());
        for (nfds_t i = 0; i < sockets; ++i) {
            if (waits[i].revents != 0) {
                Receive(static_cast<Direction>(i / PACKET_KIND_COUNT), static_cast<PacketKind>(i % PACKET_KIND_COUNT));
            }
        }
        DeliverUntil(Clock::now());
    }
    DeliverUntil(Clock::time_point::max());
}

int Relay::WaitMs() const {
    if (m_Flying.empty()) {
        return -1;
    }
    // Rounded up: to wake before it is due would be to wake twice.
    const auto wait = std::chrono::ceil<std::chrono::milliseconds>(m_Flying.begin()->first - Clock::now()).count();
    return static_cast<int>(std::max<int64_t>(wait, 0));
}

void Relay::Receive(Direction direction, PacketKind kind) {
    const ssize_t received = recv(m_nFds[direction][kind], m_Datagram.data(), m_Datagram.size(), MSG_DONTWAIT);
    // Also what a party that is not there yet, or no more, reports: nothing was received.
    if (received < 0) {
        return;
    }
    const Flight flight{
        direction, kind, ++m_nReceived[direction][kind], {m_Datagram.begin(), m_Datagram.begin() + received}};
    Capture(flight);
    for (const unsigned delay : ArrivalDelays(flight)) {
        m_Flying.emplace(Clock::now() + std::chrono::milliseconds(delay), flight);
    }
}

void Relay::Capture(const Flight& flight) {
    if (m_Capture.IsOpen()) {
        const RelaySide& side = flight.direction == LEFT_TO_RIGHT ? m_Options.left : m_Options.right;
        const Endpoint from = flight.kind == RTP ? side.party : side.party.Rtcp();
        const Endpoint to = flight.kind == RTP ? side.here : side.here.Rtcp();
        m_Capture.Add(std::chrono::system_clock::now(), UdpInIp(from, to, flight.data));
    }
}

std::vector<unsigned> Relay::ArrivalDelays(const Flight& flight) {
    DirectionAccount& account = m_Accounts[flight.direction];
    PacketId id = {flight.direction, flight.kind, account.rtcpRelayed + account.rtcpDropped};
    RtpPacket packet;
    if (flight.kind == RTP) {
        if (!RtpPacket::Parse(flight.data.data(), flight.data.size(), m_Options.redPayloadType, packet)) {
            ++account.notRtp;
            return {m_Options.link.delayMs};
        }
        id.number = account.rtp.ExtendedNumber(packet);
    }
    if (!(flight.kind == RTP ? RtpPasses(id, packet) : RtcpPasses(id))) {
        return {};
    }
    const std::vector<unsigned> delays = m_Pattern.ArrivalDelays(id);
    account.disorder[flight.kind].duplicated += static_cast<unsigned>(delays.size()) - 1;
    return delays;
}

bool Relay::RtpPasses(const PacketId& id, const RtpPacket& packet) {
    StreamLedger& ledger = m_Accounts[id.direction].rtp;
    const bool passes = ledger.IsFirst(packet) || packet.IsLastRepeat() || !m_Pattern.Loses(id);
    LostForGood lost;
    ledger.Enter(packet, passes, lost);
    if (!passes) {
        m_Report.ShowDrop(id.direction, packet);
    }
    if (lost.packets > 0) {
        m_Report.ShowLostForGood(id.direction, lost);
    }
    return passes;
}

bool Relay::RtcpPasses(const PacketId& id) {
    DirectionAccount& account = m_Accounts[id.direction];
    const bool passes = !m_Pattern.Loses(id);
    ++(passes ? account.rtcpRelayed : account.rtcpDropped);
    if (!passes) {
        m_Report.ShowRtcpDrop(id.direction);
    }
    return passes;
}

void Relay::DeliverUntil(Clock::time_point until) {
    const auto end = m_Flying.upper_bound(until);
    for (auto next = m_Flying.begin(); next != end; next = m_Flying.erase(next)) {
        const Flight& flight = next->second;
        const int out = m_nFds[Opposite(flight.direction)][flight.kind];
        if (send(out, flight.data.data(), flight.data.size(), 0) < 0 && errno == ECONNREFUSED) {
            // The error was an earlier datagram's, and is now cleared.
            send(out, flight.data.data(), flight.data.size(), 0);
        }
        uint32_t& latest = m_nLatestPlace[flight.direction][flight.kind];
        m_Accounts[flight.direction].disorder[flight.kind].reordered += flight.place < latest;
        latest = std::max(latest, flight.place);
    }
}
