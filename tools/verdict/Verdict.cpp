#include "verdict/Verdict.h"

#include "common/TextForms.h"

#include <algorithm>

namespace {

constexpr size_t QUOTED_BYTES = 60;

std::string Quote(const std::string& text) {
    return "“" + VisibleText(text.substr(0, QUOTED_BYTES)) + "”";
}

std::string Counts(const std::vector<uint32_t>& counts) {
    std::string list;
    for (const uint32_t count : counts) {
        list += (list.empty() ? "" : ", ") + std::to_string(count);
    }
    return list.empty() ? "none" : list;
}

// What was shown with what the link lost put back where the marks stand.
std::string FillMarks(const std::vector<std::string>& shown, const std::vector<LinkLoss>& lost) {
    std::string filled = shown[0];
    for (size_t i = 0; i < lost.size(); ++i) {
        filled += lost[i].text + shown[i + 1];
    }
    return filled;
}

} // namespace

std::string FindDifference(const std::string& typed, const PartyResult& reader, const std::vector<LinkLoss>& lost) {
    std::vector<uint32_t> expected;
    for (const LinkLoss& loss : lost) {
        expected.push_back(loss.packets);
    }
    if (reader.losses != expected || reader.shown.size() != expected.size() + 1) {
        return "packets reported as lost: " + Counts(reader.losses) +
               "; lost by the link for good: " + Counts(expected);
    }
    const std::string filled = FillMarks(reader.shown, lost);
    if (filled == typed) {
        return "";
    }
    const auto at = std::mismatch(typed.begin(), typed.end(), filled.begin(), filled.end());
    const std::string typedFrom(at.first, typed.end());
    const std::string shownFrom(at.second, filled.end());
    return "after byte " + std::to_string(at.first - typed.begin()) + " was typed " + Quote(typedFrom) + ", shown " +
           Quote(shownFrom);
}
