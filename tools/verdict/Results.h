// What the programs of a scripted call wrote at its end, read back.
#ifndef TOOLS_VERDICT_RESULTS_H
#define TOOLS_VERDICT_RESULTS_H

#include <cstdint>
#include <istream>
#include <map>
#include <string>
#include <vector>

// vrn-call's result.
struct PartyResult {
    std::string typed;
    std::vector<std::string> shown; // before the first loss, between the losses, after the last
    std::vector<uint32_t> losses;   // packets of each mark
    uint32_t rtcpTimeouts = 0;
};

// One direction of vrn-lossy's report.
struct LinkLoss {
    uint32_t packets;
    std::string text;
};
struct LinkResult {
    std::map<std::string, uint32_t> counts; // by the report's word for it
    std::vector<LinkLoss> lostForGood;

    uint32_t Count(const std::string& word) const;
};

// Both read a file's lines; false when one of them is not understood or something that must be there is missing.
bool ReadPartyResult(std::istream& input, PartyResult& result);
bool ReadLinkResults(std::istream& input, LinkResult& leftToRight, LinkResult& rightToLeft);

#endif
