// A call in which this side types a script: what is typed and shown is printed with its times and kept.
#ifndef TOOLS_CALL_SCRIPTED_CALL_H
#define TOOLS_CALL_SCRIPTED_CALL_H

#include "call/CallInbox.h"
#include "call/ConversationPrinter.h"
#include "call/Transcript.h"
#include "call/TypingScript.h"

// Confined to one thread.
class ScriptedCall {
public:
    ScriptedCall(TextCall& call, CallInbox& inbox, const CallClock& clock, const std::string& name)
        : m_Call(call), m_Inbox(inbox), m_Clock(clock), m_Printer(name) {}

    // Returns once the script is typed, its time to hang up has come and nothing was shown for `lingerMs`, or when
    // `stopFd` becomes readable. False when the engine refused a character.
    bool Run(const TypingScript& script, int64_t lingerMs, int stopFd);

    const Transcript& Result() const { return m_Transcript; }

private:
    void TypeDue(const TypingScript& script);
    void TakeInbox();
    void Take(const CallEvent& event);

    TextCall& m_Call;
    CallInbox& m_Inbox;
    const CallClock& m_Clock;
    ConversationPrinter m_Printer;
    Transcript m_Transcript;
    size_t m_nTyped = 0;         // keystrokes done
    int64_t m_nLastActiveMs = 0; // when something was last typed or shown
    bool m_bRefused = false;
};

#endif
