#include "call/CallStatus.h"

#include <cstdio>
#include <cstring>

namespace {

constexpr int64_t MS_PER_SECOND = 1000;
constexpr int64_t SECONDS_PER_MINUTE = 60;
constexpr int64_t SECONDS_PER_HOUR = 3600;
constexpr size_t TIME_SIZE = 32;
constexpr const char* BETWEEN = "  ";

std::string TimeOfCall(int64_t elapsedMs) {
    const int64_t seconds = elapsedMs / MS_PER_SECOND;
    char text[TIME_SIZE];
    snprintf(text, sizeof(text), "%d:%02d:%02d", static_cast<int>(seconds / SECONDS_PER_HOUR),
             static_cast<int>(seconds / SECONDS_PER_MINUTE % SECONDS_PER_MINUTE),
             static_cast<int>(seconds % SECONDS_PER_MINUTE));
    return text;
}

std::string Count(const CallStatus& status, uint32_t PacketCounts::*count) {
    return status.packets ? std::to_string((*status.packets).*count) : "?";
}

std::string RtcpCounts(const CallStatus& status) {
    return "in " + Count(status, &PacketCounts::rtcpReceived) + " out " + Count(status, &PacketCounts::rtcpSent);
}

std::string Timeouts(const CallStatus& status) {
    return status.rtcpTimeouts == 0 ? "no time-out" : "TIME-OUT " + std::to_string(status.rtcpTimeouts);
}

} // namespace

const char* DirectionName(VRN_CHANNEL_STATUS direction) {
    static constexpr const char* NAMES[] = {"inactive", "sendonly", "recvonly", "sendrecv"};
    return NAMES[direction & VRN_CHANNEL_SENDRECV];
}

std::vector<std::string> StatusLines(const CallStatus& status, size_t width) {
    const std::string parts[] = {DirectionName(status.direction),
                                 "redundancy " + std::to_string(status.redundancy),
                                 TimeOfCall(status.elapsedMs),
                                 "sent " + Count(status, &PacketCounts::rtpSent),
                                 "received " + Count(status, &PacketCounts::rtpReceived),
                                 "lost " + std::to_string(status.lostPackets),
                                 std::string("RTCP ") + (status.rtcp ? "on " : "off ") + RtcpCounts(status) + " " +
                                     Timeouts(status)};
    std::vector<std::string> lines;
    for (const std::string& part : parts) {
        if (lines.empty() || lines.back().size() + strlen(BETWEEN) + part.size() > width) {
            lines.push_back(part);
        } else {
            lines.back() += BETWEEN + part;
        }
    }
    return lines;
}

std::string CallSummary(const CallStatus& status) {
    return "Call of " + TimeOfCall(status.elapsedMs) + ". Packets: " + Count(status, &PacketCounts::rtpSent) +
           " sent, " + Count(status, &PacketCounts::rtpReceived) + " received, " + std::to_string(status.lostPackets) +
           " lost for good. RTCP: " + RtcpCounts(status) + ", " + Timeouts(status) + ".";
}
