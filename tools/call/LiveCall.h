// A call on a terminal: each key is sent the moment it is pressed, each character shown the moment it arrives.
#ifndef TOOLS_CALL_LIVE_CALL_H
#define TOOLS_CALL_LIVE_CALL_H

#include "call/CallInbox.h"
#include "call/CallStatus.h"
#include "call/LiveScreen.h"
#include "common/SignalFd.h"

// Confined to one thread.
class LiveCall {
public:
    // Of a started call. Packets are counted from the engine's log when its trace lines are on.
    LiveCall(TextCall& call, CallInbox& inbox, const CallClock& clock, const CallSettings& settings, bool hasTrace);

    // Until the person quits, the terminal goes or `stopFd` becomes readable. False when this terminal cannot show the
    // screen.
    bool Run(int stopFd, const SignalFd& resize);

    CallStatus Status() const;

private:
    void Draw();
    void FlashOnBell(int64_t nowMs);
    int WaitMs() const;
    void TakeKeys();
    void Press(Key key, const std::string& text);
    void Type(std::string_view text);
    void ChooseDirection(std::string_view text);
    void SwitchRtcp();
    void TakeInbox();
    std::vector<std::string> Hints() const;

    TextCall& m_Call;
    CallInbox& m_Inbox;
    const CallClock& m_Clock;
    const CallSettings& m_Settings;
    const bool m_bHasTrace;
    LiveScreen m_Screen;
    ScreenText m_Theirs;
    ScreenText m_Yours;
    uint64_t m_nLostPackets = 0;
    unsigned m_nRtcpTimeouts = 0;
    int64_t m_nFlashEndMs = 0;
    int64_t m_nNextFlashMs = 0; // bells before it are not shown
    bool m_bRtcp;
    bool m_bChoosing = false; // the next key names a direction
    bool m_bOver = false;
    std::string m_Note; // shown until the next key
};

#endif
