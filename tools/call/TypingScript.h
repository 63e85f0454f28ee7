// A script of what one side types and when. A file of lines:
//
//   # a remark
//   rate 10                    characters a second from here on (10 unless said)
//   at 1.5 Good morning!\n     starts typing this 1.5 seconds into the call, or when the text before it is done
//   hangup 30                  stays in the call until then at least
//
// Text begins after one blank and runs to the end of its line; its escapes are those of common/TextForms.h.
#ifndef TOOLS_CALL_TYPING_SCRIPT_H
#define TOOLS_CALL_TYPING_SCRIPT_H

#include <cstdint>
#include <istream>
#include <string>
#include <string_view>
#include <vector>

struct Keystroke {
    int64_t atMs;
    std::string text; // one character, or CR LF
    bool endsPhrase;  // the last of its line in the script
};

class TypingScript {
public:
    // Empty on success, else what is wrong and in which line.
    std::string Read(std::istream& input);

    const std::vector<Keystroke>& Keystrokes() const { return m_Keystrokes; }
    int64_t HangupMs() const { return m_nHangupMs; }

private:
    bool ReadLine(std::string_view line);
    bool ReadPhrase(std::string_view rest);

    std::vector<Keystroke> m_Keystrokes;
    double m_dRate = 10;
    int64_t m_nNextFreeMs = 0; // the earliest time for another character
    int64_t m_nHangupMs = 0;
};

#endif
