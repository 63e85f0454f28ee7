// Keeps one channel's session alive while a thread works on it.
#ifndef CONTROL_CSESSION_PIN_H
#define CONTROL_CSESSION_PIN_H

class CTextControlManager;
class CTextSessionManager;

// How an operation words that its channel does not exist; kept: hosts match on both lines.
enum class EmptySlotLine { Session, ChannelID };

// Stands on the stack of the thread that works on the session; DeleteChannel waits until the last pin is gone. Never held
// across a join or a call of the host's handler for event 1.
class CSessionPin {
public:
    // Pins the channel's session if there is one.
    CSessionPin(CTextControlManager& manager, int channel);

    // The same for an operation of the host's: logs an id outside 0 to 2 or an unusable argument, or an empty slot, in
    // the name of the caller, whose __PRETTY_FUNCTION__ it is given; pins nothing then.
    CSessionPin(CTextControlManager& manager, int channel, const char* caller, EmptySlotLine line,
                bool usableArguments = true);

    ~CSessionPin();
    CSessionPin(const CSessionPin&) = delete;
    CSessionPin& operator=(const CSessionPin&) = delete;

    explicit operator bool() const { return m_pSession != nullptr; }
    CTextSessionManager* operator->() const { return m_pSession; }

private:
    CTextControlManager& m_Manager;
    const int m_nChannel;
    CTextSessionManager* const m_pSession;
};

#endif
