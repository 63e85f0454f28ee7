#include "verdict/Results.h"

#include "common/TextForms.h"

#include <charconv>

namespace {

// Takes the word up to the next blank, and that blank.
std::string TakeWord(std::string& line) {
    const size_t blank = line.find(' ');
    std::string word = line.substr(0, blank);
    line.erase(0, blank == std::string::npos ? blank : blank + 1);
    return word;
}

bool ParseCount(const std::string& word, uint32_t& value) {
    const auto result = std::from_chars(word.data(), word.data() + word.size(), value);
    return result.ec == std::errc() && result.ptr == word.data() + word.size();
}

bool ReadPartyLine(std::string line, PartyResult& result) {
    const std::string word = TakeWord(line);
    if (word == "typed") {
        return Unescape(line, result.typed);
    }
    if (word == "shown") {
        result.shown.emplace_back();
        return Unescape(line, result.shown.back());
    }
    if (word == "loss") {
        result.losses.push_back(0);
        return ParseCount(line, result.losses.back());
    }
    return word == "rtcp-timeouts" && ParseCount(line, result.rtcpTimeouts);
}

bool ReadLinkLine(std::string line, LinkResult& result) {
    const std::string word = TakeWord(line);
    if (word != "lost-for-good") {
        return ParseCount(line, result.counts[word]);
    }
    uint32_t firstNumber = 0;
    LinkLoss loss = {0, ""};
    if (!ParseCount(TakeWord(line), firstNumber) || !ParseCount(TakeWord(line), loss.packets) ||
        !Unescape(line, loss.text)) {
        return false;
    }
    result.lostForGood.push_back(loss);
    return true;
}

} // namespace

uint32_t LinkResult::Count(const std::string& word) const {
    const auto found = counts.find(word);
    return found == counts.end() ? 0 : found->second;
}

bool ReadPartyResult(std::istream& input, PartyResult& result) {
    result = {};
    std::string line;
    while (std::getline(input, line)) {
        if (!ReadPartyLine(line, result)) {
            return false;
        }
    }
    return result.shown.size() == result.losses.size() + 1;
}

bool ReadLinkResults(std::istream& input, LinkResult& leftToRight, LinkResult& rightToLeft) {
    std::string line;
    while (std::getline(input, line)) {
        const std::string direction = TakeWord(line);
        if (direction != "left-right" && direction != "right-left") {
            return false;
        }
        if (!ReadLinkLine(line, direction == "left-right" ? leftToRight : rightToLeft)) {
            return false;
        }
    }
    return !leftToRight.counts.empty() && !rightToLeft.counts.empty();
}
