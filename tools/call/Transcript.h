// What one side typed and was shown, kept for the comparison at the end of a scripted call.
#ifndef TOOLS_CALL_TRANSCRIPT_H
#define TOOLS_CALL_TRANSCRIPT_H

#include <ostream>
#include <string>
#include <string_view>
#include <vector>

// Confined to one thread.
class Transcript {
public:
    void AddTyped(std::string_view text) { m_Typed += text; }
    void AddShown(std::string_view text) { m_Shown.back() += text; }
    void AddLoss(int packets);
    void AddRtcpTimeout() { ++m_nRtcpTimeouts; }

    // A line for each thing, a word and its value; texts as common/TextForms.h escapes them:
    //   typed TEXT
    //   shown TEXT     as many as there are losses, and one; the losses stand between them
    //   loss PACKETS
    //   rtcp-timeouts COUNT
    void Write(std::ostream& output) const;

private:
    std::string m_Typed;
    std::vector<std::string> m_Shown{1}; // the text before the first loss, between the losses, after the last
    std::vector<int> m_Losses;
    int m_nRtcpTimeouts = 0;
};

#endif
