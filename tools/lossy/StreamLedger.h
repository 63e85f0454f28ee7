// What became of the text packets of one direction: which were dropped, and which of those no later packet brought
// again. The account is kept from the packets alone, so it can be held against what a far end claims to have lost.
#ifndef TOOLS_LOSSY_STREAM_LEDGER_H
#define TOOLS_LOSSY_STREAM_LEDGER_H

#include "lossy/RtpPacket.h"

#include <map>

// Packets in a row whose texts came through neither themselves nor as a repeat.
struct LostForGood {
    uint32_t firstNumber = 0;
    uint32_t packets = 0;
    std::string text; // what was typed in them
};

// Confined to one thread.
class StreamLedger {
public:
    // The packet's extended sequence number: 16 bits on the wire, continued past each wrap (RFC 3550, A.1). A new SSRC
    // begins a new stream.
    uint32_t ExtendedNumber(const RtpPacket& packet) const;

    // The first of its stream: a receiver that never saw it does not know that it was there.
    bool IsFirst(const RtpPacket& packet) const { return !m_bStarted || packet.ssrc != m_nSsrc; }

    // Enters a packet; `lost` has the loss that this packet, delivered, makes final (none: `packets` is 0).
    void Enter(const RtpPacket& packet, bool delivered, LostForGood& lost);

    const std::vector<LostForGood>& AllLostForGood() const { return m_Lost; }
    unsigned Dropped() const { return m_nDropped; }
    unsigned Relayed() const { return m_nRelayed; }
    // Dropped, and brought again by a later packet.
    unsigned Restored() const { return m_nRestored; }

private:
    void Begin(const RtpPacket& packet);
    LostForGood SettleUpTo(uint32_t oldestCarried);

    bool m_bStarted = false;
    uint32_t m_nSsrc = 0;
    uint32_t m_nHighest = 0; // extended number of the latest packet
    uint32_t m_nNext = 0;    // every packet before this one is delivered, restored or lost for good
    std::map<uint32_t, std::string> m_DroppedTexts; // by number, of packets from m_nNext on
    std::vector<LostForGood> m_Lost;
    unsigned m_nRelayed = 0;
    unsigned m_nDropped = 0;
    unsigned m_nRestored = 0;
};

#endif
