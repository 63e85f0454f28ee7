// What the relay tells: each loss as it happens, and the counts at the end, for a person and for a program.
#ifndef TOOLS_LOSSY_RELAY_REPORT_H
#define TOOLS_LOSSY_RELAY_REPORT_H

#include "common/CallClock.h"
#include "lossy/LossPattern.h"
#include "lossy/LossyOptions.h"
#include "lossy/StreamLedger.h"

#include <array>
#include <ostream>

// What the link did to packets that it let through.
struct Disorder {
    unsigned duplicated = 0;
    unsigned reordered = 0; // left after a packet that had come in later; duplicates count too
};

// The account of one direction.
struct DirectionAccount {
    StreamLedger rtp;
    unsigned rtcpRelayed = 0;
    unsigned rtcpDropped = 0;
    unsigned notRtp = 0; // relayed all the same
    Disorder disorder[PACKET_KIND_COUNT];
};

using RelayAccounts = std::array<DirectionAccount, DIRECTION_COUNT>;

// Confined to one thread.
class RelayReport {
public:
    RelayReport(const LossyOptions& options, const CallClock& clock);

    void ShowDrop(Direction direction, const RtpPacket& packet) const;
    void ShowRtcpDrop(Direction direction) const;
    void ShowLostForGood(Direction direction, const LostForGood& lost) const;

    // A line for each count: the direction ("left-right", "right-left"), a word and its value, and one for each loss:
    //   left-right lost-for-good FIRST-NUMBER PACKETS TEXT     TEXT as common/TextForms.h escapes it
    void WriteForProgram(const RelayAccounts& accounts, std::ostream& output) const;
    void PrintForPerson(const RelayAccounts& accounts) const;

private:
    std::string Route(Direction direction) const;
    void Show(Direction direction, const std::string& what) const;

    const LossyOptions& m_Options;
    const CallClock& m_Clock;
    const bool m_bColour;
};

#endif
