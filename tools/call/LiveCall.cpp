#include "call/LiveCall.h"

#include "call/EngineLog.h"
#include "common/TextForms.h"

#include <algorithm>
#include <poll.h>
#include <unistd.h>

namespace {

constexpr int STATUS_INTERVAL_MS = 500; // the time of the call and the counts go on while nobody types
constexpr int FLASH_MS = 200;
constexpr int FLASH_INTERVAL_MS = 1000; // a screen that flashes more than three times a second can cause a seizure

constexpr const char* KEYS_HINT = "^R RTCP  ^T direction  ^Q or ^C quit";
const std::vector<std::string> DIRECTION_HINTS = {"3 sendrecv 2 recvonly 1 sendonly 0 none",
                                                  "Far end may drop text: numbers restart"};

} // namespace

LiveCall::LiveCall(TextCall& call, CallInbox& inbox, const CallClock& clock, const CallSettings& settings,
                   bool hasTrace)
    : m_Call(call), m_Inbox(inbox), m_Clock(clock), m_Settings(settings), m_bHasTrace(hasTrace),
      m_bRtcp(settings.rtcp) {}

bool LiveCall::Run(int stopFd, const SignalFd& resize) {
    if (!m_Screen.Open()) {
        return false;
    }
    enum { STOP, RESIZE, INBOX, KEYS, COUNT };
    pollfd waits[COUNT] = {
        {stopFd, POLLIN, 0}, {resize.Fd(), POLLIN, 0}, {m_Inbox.Fd(), POLLIN, 0}, {STDIN_FILENO, POLLIN, 0}};
    while (!m_bOver && waits[STOP].revents == 0) {
        Draw();
        poll(waits, COUNT, WaitMs());
        if (waits[RESIZE].revents != 0) {
            resize.Drain();
            m_Screen.FollowSize();
        }
        TakeKeys();
        TakeInbox();
        m_Call.WatchRtcp();
        if ((waits[KEYS].revents & (POLLHUP | POLLERR | POLLNVAL)) != 0) {
            m_bOver = true;
        }
    }
    return true;
}

CallStatus LiveCall::Status() const {
    CallStatus status;
    status.direction = m_Call.Direction();
    status.redundancy = m_Settings.redundancy;
    if (m_bHasTrace) {
        status.packets = EnginePackets().Counts();
    }
    status.lostPackets = m_nLostPackets;
    status.rtcp = m_bRtcp;
    status.rtcpTimeouts = m_nRtcpTimeouts;
    status.elapsedMs = m_Clock.NowMs();
    return status;
}

void LiveCall::Draw() {
    const size_t width = static_cast<size_t>(std::max(m_Screen.Width(), LiveScreen::MIN_WIDTH));
    const ScreenPane theirs{"They type", m_Theirs};
    const ScreenPane yours{"You type", m_Yours};
    FlashOnBell(m_Clock.NowMs());
    m_Screen.Draw(theirs, yours, StatusLines(Status(), width - 1), Hints());
}

void LiveCall::FlashOnBell(int64_t nowMs) {
    const bool theirs = m_Theirs.TakeBell();
    const bool yours = m_Yours.TakeBell();
    if ((theirs || yours) && nowMs >= m_nNextFlashMs) {
        m_nFlashEndMs = nowMs + FLASH_MS;
        m_nNextFlashMs = nowMs + FLASH_INTERVAL_MS;
    }
    m_Screen.SetReverse(nowMs < m_nFlashEndMs);
}

int LiveCall::WaitMs() const {
    const int64_t flash = m_nFlashEndMs - m_Clock.NowMs();
    return flash > 0 ? static_cast<int>(flash) : STATUS_INTERVAL_MS;
}

std::vector<std::string> LiveCall::Hints() const {
    if (m_bChoosing) {
        return DIRECTION_HINTS;
    }
    return {m_Note.empty() ? KEYS_HINT : m_Note};
}

void LiveCall::TakeKeys() {
    Key key = Key::OTHER;
    std::string text;
    while (!m_bOver && m_Screen.NextKey(key, text)) {
        Press(key, text);
    }
}

void LiveCall::Press(Key key, const std::string& text) {
    m_Note.clear();
    if (key == Key::QUIT) {
        m_bOver = true;
    } else if (m_bChoosing) {
        m_bChoosing = false;
        ChooseDirection(text);
    } else if (key == Key::DIRECTION) {
        m_bChoosing = true;
    } else if (key == Key::RTCP) {
        SwitchRtcp();
    } else if (key == Key::NEW_LINE) {
        Type(T140_NEW_LINE);
    } else if (key == Key::BACKSPACE) {
        Type("\b");
    } else if (key == Key::TEXT) {
        Type(text);
    }
}

void LiveCall::Type(std::string_view text) {
    if (!m_Call.CanType()) {
        m_Note = "Not sending: ^T switches the direction";
    } else if (!m_Call.Type(text)) {
        m_Note = "The engine refused what you typed";
    } else {
        m_Yours.Put(text);
    }
}

void LiveCall::ChooseDirection(std::string_view text) {
    if (text.size() != 1 || text[0] < '0' || text[0] > '3') {
        m_Note = "The direction stays";
        return;
    }
    const auto direction = static_cast<VRN_CHANNEL_STATUS>(text[0] - '0');
    if (direction != m_Call.Direction() && !m_Call.SwitchDirection(direction)) {
        m_Note = "The engine refused the direction";
    }
}

void LiveCall::SwitchRtcp() {
    if (m_Call.SwitchRtcp(!m_bRtcp)) {
        m_bRtcp = !m_bRtcp;
    } else {
        m_Note = "The engine refused to switch RTCP";
    }
}

void LiveCall::TakeInbox() {
    for (const CallEvent& event : m_Inbox.TakeAll()) {
        switch (event.kind) {
        case CallEvent::TEXT:
            m_Theirs.Put(event.text);
            break;
        case CallEvent::LOSS:
            m_Theirs.PutLoss(event.packets);
            m_nLostPackets += static_cast<unsigned>(std::max(event.packets, 0));
            break;
        case CallEvent::RTCP_TIMEOUT:
            ++m_nRtcpTimeouts;
            break;
        }
    }
}
