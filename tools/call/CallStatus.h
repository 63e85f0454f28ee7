// How a call stands, in words.
#ifndef TOOLS_CALL_CALL_STATUS_H
#define TOOLS_CALL_CALL_STATUS_H

#include "call/PacketCounter.h"
#include "call/TextCall.h"

#include <optional>
#include <string>
#include <vector>

struct CallStatus {
    VRN_CHANNEL_STATUS direction = VRN_CHANNEL_INACTIVE;
    unsigned redundancy = 0;
    std::optional<PacketCounts> packets; // none: nobody counts
    uint64_t lostPackets = 0;            // for good, as the loss marks say
    bool rtcp = false;
    unsigned rtcpTimeouts = 0;
    int64_t elapsedMs = 0;
};

// sendrecv, sendonly, recvonly or inactive.
const char* DirectionName(VRN_CHANNEL_STATUS direction);

// The status in lines of at most `width` characters, as long as no part of it is longer. ASCII.
std::vector<std::string> StatusLines(const CallStatus& status, size_t width);

// One line for the end of the call.
std::string CallSummary(const CallStatus& status);

#endif
