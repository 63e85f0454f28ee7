#include "call/ScriptedCall.h"

#include <algorithm>
#include <cstdio>
#include <poll.h>

namespace {

// How often to look whether a phrase waits for an end that does not come.
constexpr int64_t LONGEST_WAIT_MS = 250;

} // namespace

bool ScriptedCall::Run(const TypingScript& script, int64_t lingerMs, int stopFd) {
    pollfd waits[] = {{m_Inbox.Fd(), POLLIN, 0}, {stopFd, POLLIN, 0}};
    while ((waits[1].revents & POLLIN) == 0) {
        TypeDue(script);
        TakeInbox();
        m_Call.WatchRtcp();
        const int64_t now = m_Clock.NowMs();
        m_Printer.PrintStale(now);
        const bool allTyped = m_nTyped == script.Keystrokes().size();
        if (allTyped && now >= std::max(script.HangupMs(), m_nLastActiveMs + lingerMs)) {
            break;
        }
        const int64_t next = allTyped ? LONGEST_WAIT_MS : script.Keystrokes()[m_nTyped].atMs - now;
        poll(waits, 2, static_cast<int>(std::clamp<int64_t>(next, 0, LONGEST_WAIT_MS)));
    }
    m_Printer.PrintAll();
    return !m_bRefused;
}

void ScriptedCall::TypeDue(const TypingScript& script) {
    const auto& keys = script.Keystrokes();
    for (; m_nTyped < keys.size() && keys[m_nTyped].atMs <= m_Clock.NowMs(); ++m_nTyped) {
        const Keystroke& key = keys[m_nTyped];
        if (!m_Call.Type(key.text)) {
            m_bRefused = true;
            fprintf(stderr, "vrn-call: the engine refused keystroke %zu of the script\n", m_nTyped + 1);
            continue;
        }
        m_nLastActiveMs = m_Clock.NowMs();
        m_Transcript.AddTyped(key.text);
        m_Printer.Typed(m_nLastActiveMs, key.text, key.endsPhrase);
    }
}

void ScriptedCall::TakeInbox() {
    for (const CallEvent& event : m_Inbox.TakeAll()) {
        m_nLastActiveMs = std::max(m_nLastActiveMs, event.atMs);
        Take(event);
    }
}

void ScriptedCall::Take(const CallEvent& event) {
    switch (event.kind) {
    case CallEvent::TEXT:
        m_Transcript.AddShown(event.text);
        m_Printer.Shown(event.atMs, event.text);
        break;
    case CallEvent::LOSS:
        m_Transcript.AddLoss(event.packets);
        m_Printer.Lost(event.atMs, event.packets);
        break;
    case CallEvent::RTCP_TIMEOUT:
        m_Transcript.AddRtcpTimeout();
        m_Printer.RtcpTimeout(event.atMs);
        break;
    }
}
