// vrn-verdict: the summary of a scripted call, and whether each party was shown what the other typed.
//   vrn-verdict LEFT-NAME LEFT-RESULT RIGHT-NAME RIGHT-RESULT LINK-REPORT
// Exit status 0 when they agree, 1 when they do not, 2 when a file cannot be read.
#include "common/TextForms.h"
#include "verdict/Verdict.h"

#include <cstdio>
#include <fstream>
#include <numeric>

namespace {

constexpr int ARGUMENTS = 6;
constexpr int EXIT_DIFFERENT = 1;
constexpr int EXIT_UNREADABLE = 2;

struct Party {
    std::string name;
    PartyResult result;
    LinkResult sent; // the way its packets took
};

bool ReadParty(const char* path, Party& party) {
    std::ifstream file(path);
    return file && ReadPartyResult(file, party.result);
}

bool ReadLink(const char* path, Party& left, Party& right) {
    std::ifstream file(path);
    return file && ReadLinkResults(file, left.sent, right.sent);
}

size_t CharactersShown(const PartyResult& result) {
    size_t count = 0;
    for (const std::string& text : result.shown) {
        count += CountCharacters(text);
    }
    return count;
}

uint32_t PacketsLost(const PartyResult& result) {
    return std::accumulate(result.losses.begin(), result.losses.end(), 0U);
}

void PrintRow(const char* what, size_t left, size_t right) {
    printf("  %-38s %10zu %10zu\n", what, left, right);
}

void PrintLinkRow(const char* what, const char* word, const Party& left, const Party& right) {
    PrintRow(what, left.sent.Count(word), right.sent.Count(word));
}

void PrintSummary(const Party& left, const Party& right) {
    printf("  %-38s %10s %10s\n", "", left.name.c_str(), right.name.c_str());
    PrintRow("characters typed", CountCharacters(left.result.typed), CountCharacters(right.result.typed));
    PrintRow("characters shown", CharactersShown(left.result), CharactersShown(right.result));
    PrintRow("loss marks shown", left.result.losses.size(), right.result.losses.size());
    PrintRow("packets they stand for", PacketsLost(left.result), PacketsLost(right.result));
    PrintRow("RTCP time-outs", left.result.rtcpTimeouts, right.result.rtcpTimeouts);
    PrintLinkRow("text packets sent and relayed", "rtp-relayed", left, right);
    PrintLinkRow("text packets sent and dropped", "rtp-dropped", left, right);
    PrintLinkRow("  of these, brought again by a later one", "rtp-restored", left, right);
    PrintLinkRow("RTCP reports sent and relayed", "rtcp-relayed", left, right);
    PrintLinkRow("RTCP reports sent and dropped", "rtcp-dropped", left, right);
}

bool PrintVerdict(const Party& writer, const Party& reader) {
    const std::string difference = FindDifference(writer.result.typed, reader.result, writer.sent.lostForGood);
    const char* outcome = writer.sent.lostForGood.empty() ? "all that" : "all but the marked losses of what";
    if (difference.empty()) {
        printf("  %s was shown %s %s typed.\n", reader.name.c_str(), outcome, writer.name.c_str());
        return true;
    }
    printf("  FAILED: %s was not shown what %s typed: %s\n", reader.name.c_str(), writer.name.c_str(),
           difference.c_str());
    return false;
}

} // namespace

int main(int argc, char** argv) {
    if (argc != ARGUMENTS) {
        fprintf(stderr, "usage: vrn-verdict LEFT-NAME LEFT-RESULT RIGHT-NAME RIGHT-RESULT LINK-REPORT\n");
        return EXIT_UNREADABLE;
    }
    Party left = {argv[1], {}, {}};
    Party right = {argv[3], {}, {}};
    if (!ReadParty(argv[2], left) || !ReadParty(argv[4], right) || !ReadLink(argv[5], left, right)) {
        fprintf(stderr, "vrn-verdict: a result is missing or damaged\n");
        return EXIT_UNREADABLE;
    }
    PrintSummary(left, right);
    const bool rightShown = PrintVerdict(left, right);
    const bool leftShown = PrintVerdict(right, left);
    return rightShown && leftShown ? 0 : EXIT_DIFFERENT;
}
