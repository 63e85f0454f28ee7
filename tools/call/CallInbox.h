// What the engine's threads have to say, brought to the thread that shows it.
#ifndef TOOLS_CALL_CALL_INBOX_H
#define TOOLS_CALL_CALL_INBOX_H

#include "call/TextCall.h"
#include "common/CallClock.h"

#include <mutex>
#include <vector>

struct CallEvent {
    enum Kind { TEXT, LOSS, RTCP_TIMEOUT };

    Kind kind;
    int64_t atMs;     // when the engine delivered it
    std::string text; // of TEXT
    int packets;      // of LOSS
};

// Thread-safe.
class CallInbox : public CallListener {
public:
    explicit CallInbox(const CallClock& clock);
    ~CallInbox() override;
    CallInbox(const CallInbox&) = delete;
    CallInbox& operator=(const CallInbox&) = delete;

    void OnText(std::string_view character) override;
    void OnLoss(int packets) override;
    void OnRtcpTimeout() override;

    // Readable while something waits.
    int Fd() const { return m_nFd; }
    // Takes all that waits, oldest first.
    std::vector<CallEvent> TakeAll();

private:
    void Put(CallEvent event);

    const CallClock& m_Clock;
    const int m_nFd;
    std::mutex m_Mutex;
    std::vector<CallEvent> m_Events; // guarded by m_Mutex
};

#endif
