#include "call/TypingScript.h"

#include "common/TextForms.h"

#include <algorithm>
#include <charconv>

namespace {

constexpr double MS_PER_SECOND = 1000;
constexpr double MAX_SECONDS = 86400;
constexpr double MIN_RATE = 0.01;
constexpr double MAX_RATE = 1000;

// Takes the word up to the next blank, and that blank.
std::string_view TakeWord(std::string_view& line) {
    const size_t blank = std::min(line.find(' '), line.size());
    const std::string_view word = line.substr(0, blank);
    line.remove_prefix(std::min(blank + 1, line.size()));
    return word;
}

bool ParseNumber(std::string_view word, double most, double& value) {
    const auto result = std::from_chars(word.data(), word.data() + word.size(), value);
    return result.ec == std::errc() && result.ptr == word.data() + word.size() && value >= 0 && value <= most;
}

size_t KeystrokeLength(std::string_view text) {
    return text.substr(0, 2) == "\r\n" ? 2 : CharacterLength(text);
}

} // namespace

std::string TypingScript::Read(std::istream& input) {
    std::string line;
    for (int number = 1; std::getline(input, line); ++number) {
        if (!ReadLine(line)) {
            return "line " + std::to_string(number) + " is not understood: " + VisibleText(line);
        }
    }
    return "";
}

bool TypingScript::ReadLine(std::string_view line) {
    if (line.empty() || line[0] == '#') {
        return true;
    }
    const std::string_view word = TakeWord(line);
    if (word == "at") {
        return ReadPhrase(line);
    }
    if (word == "rate") {
        return ParseNumber(line, MAX_RATE, m_dRate) && m_dRate >= MIN_RATE;
    }
    double seconds = 0;
    if (word != "hangup" || !ParseNumber(line, MAX_SECONDS, seconds)) {
        return false;
    }
    m_nHangupMs = static_cast<int64_t>(seconds * MS_PER_SECOND);
    return true;
}

bool TypingScript::ReadPhrase(std::string_view rest) {
    double seconds = 0;
    std::string phrase;
    if (!ParseNumber(TakeWord(rest), MAX_SECONDS, seconds) || !Unescape(rest, phrase) || phrase.empty()) {
        return false;
    }
    m_nNextFreeMs = std::max(m_nNextFreeMs, static_cast<int64_t>(seconds * MS_PER_SECOND));
    for (std::string_view left = phrase; !left.empty();) {
        const std::string_view key = left.substr(0, KeystrokeLength(left));
        left.remove_prefix(key.size());
        m_Keystrokes.push_back({m_nNextFreeMs, std::string(key), left.empty()});
        // CR LF is two characters to the far end's playout, so it takes the time of two.
        m_nNextFreeMs += static_cast<int64_t>(static_cast<double>(CountCharacters(key)) * MS_PER_SECOND / m_dRate);
    }
    return true;
}
