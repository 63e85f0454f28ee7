// A call for pipes: standard input is typed as it comes, received text goes to standard output, events to standard
// error. Or, for a partner to try things with: each received line is typed back.
#ifndef TOOLS_CALL_PIPED_CALL_H
#define TOOLS_CALL_PIPED_CALL_H

#include "call/CallInbox.h"
#include "call/ScreenText.h"

// Confined to one thread.
class PipedCall {
public:
    PipedCall(TextCall& call, CallInbox& inbox, const CallClock& clock, bool echo);

    // Returns once the input has ended and nothing was typed or shown for `lingerMs`, or when `stopFd` becomes
    // readable. A call that cannot type or that echoes does not read its input and ends by `stopFd` alone. False when the engine
    // refused text, or at once when standard output does not take any more.
    bool Run(int64_t lingerMs, int stopFd);

private:
    void ReadInput();
    void PutOut(const std::string& bytes);
    void TypePending();
    void Take(const CallEvent& event);
    void AnswerLines();
    // Whether the call ends once its input has.
    bool EndsWithInput() const { return m_Call.CanType() && !m_bEcho; }
    // Whole characters wait to be typed.
    bool HasPending() const;
    bool IsOver(int64_t lingerMs) const;
    int WaitMs(int64_t lingerMs) const;

    TextCall& m_Call;
    CallInbox& m_Inbox;
    const CallClock& m_Clock;
    const bool m_bTerminal;
    const bool m_bEcho;
    ScreenText m_Heard; // of an echo: what it has not answered yet
    bool m_bInputOpen;
    bool m_bRefused = false;
    bool m_bOutputFailed = false;
    std::string m_Pending; // read and not typed yet
    int64_t m_nWindowEndMs = 0;
    size_t m_nWindowBytes = 0; // that may still be typed until then
    int64_t m_nLastActiveMs;
};

#endif
