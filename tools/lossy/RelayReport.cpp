#include "lossy/RelayReport.h"

#include "common/TextForms.h"
#include "common/TimeLine.h"

#include <cstdio>

namespace {

constexpr const char* DIRECTION_WORDS[] = {"left-right", "right-left"};
constexpr const char* KIND_WORDS[] = {"rtp", "rtcp"};

} // namespace

RelayReport::RelayReport(const LossyOptions& options, const CallClock& clock)
    : m_Options(options), m_Clock(clock), m_bColour(ColourWanted()) {}

void RelayReport::ShowDrop(Direction direction, const RtpPacket& packet) const {
    const std::string& text = packet.Primary();
    const std::string content = text.empty() ? "with no new text" : "with “" + VisibleText(text) + "”";
    Show(direction, "loses packet " + std::to_string(packet.sequenceNumber) + " " + content);
}

void RelayReport::ShowRtcpDrop(Direction direction) const {
    Show(direction, "loses an RTCP report");
}

void RelayReport::ShowLostForGood(Direction direction, const LostForGood& lost) const {
    const std::string first = std::to_string(lost.firstNumber);
    const std::string last = std::to_string(lost.firstNumber + lost.packets - 1);
    const std::string where = lost.packets == 1 ? "packet " + first : "packets " + first + " to " + last;
    Show(direction, "“" + VisibleText(lost.text) + "” of " + where +
                        " is lost for good: every packet that repeats it was lost too");
}

void RelayReport::Show(Direction direction, const std::string& what) const {
    if (m_Options.showLosses) {
        PrintTimeLine(m_Clock.NowMs(), -1, "link",
                      Coloured(m_bColour ? COLOUR_LINK : "", Route(direction) + ": " + what));
    }
}

std::string RelayReport::Route(Direction direction) const {
    const std::string& left = m_Options.left.name;
    const std::string& right = m_Options.right.name;
    return direction == LEFT_TO_RIGHT ? left + " → " + right : right + " → " + left;
}

void RelayReport::WriteForProgram(const RelayAccounts& accounts, std::ostream& output) const {
    for (const Direction direction : {LEFT_TO_RIGHT, RIGHT_TO_LEFT}) {
        const DirectionAccount& account = accounts[direction];
        const std::string word = std::string(DIRECTION_WORDS[direction]) + ' ';
        output << word << "rtp-relayed " << account.rtp.Relayed() << '\n';
        output << word << "rtp-dropped " << account.rtp.Dropped() << '\n';
        output << word << "rtp-restored " << account.rtp.Restored() << '\n';
        output << word << "rtcp-relayed " << account.rtcpRelayed << '\n';
        output << word << "rtcp-dropped " << account.rtcpDropped << '\n';
        for (const PacketKind kind : {RTP, RTCP}) {
            output << word << KIND_WORDS[kind] << "-duplicated " << account.disorder[kind].duplicated << '\n';
            output << word << KIND_WORDS[kind] << "-reordered " << account.disorder[kind].reordered << '\n';
        }
        output << word << "not-rtp " << account.notRtp << '\n';
        for (const LostForGood& lost : account.rtp.AllLostForGood()) {
            output << word << "lost-for-good " << lost.firstNumber << ' ' << lost.packets << ' ' << Escape(lost.text)
                   << '\n';
        }
    }
}

void RelayReport::PrintForPerson(const RelayAccounts& accounts) const {
    for (const Direction direction : {LEFT_TO_RIGHT, RIGHT_TO_LEFT}) {
        const DirectionAccount& account = accounts[direction];
        unsigned lost = 0;
        for (const LostForGood& each : account.rtp.AllLostForGood()) {
            lost += each.packets;
        }
        fprintf(stderr,
                "link %s: RTP %u relayed, %u dropped (%u brought again by later packets, %u lost for good), "
                "%u duplicated, %u reordered; RTCP %u relayed, %u dropped, %u duplicated, %u reordered; "
                "not RTP %u relayed\n",
                Route(direction).c_str(), account.rtp.Relayed(), account.rtp.Dropped(), account.rtp.Restored(), lost,
                account.disorder[RTP].duplicated, account.disorder[RTP].reordered, account.rtcpRelayed,
                account.rtcpDropped, account.disorder[RTCP].duplicated, account.disorder[RTCP].reordered,
                account.notRtp);
    }
}
