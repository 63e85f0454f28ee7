#include "call/PipedCall.h"

#include "common/TextForms.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <poll.h>
#include <unistd.h>

namespace {

// So much is typed in the time of a send tick at most, so that a whole file piped in waits here and not in the engine,
// which bounds what waits in it. A person's typing stays far below.
constexpr int64_t WINDOW_MS = 300;
constexpr size_t WINDOW_BYTES = 96;
static_assert(WINDOW_BYTES <= TextCall::MAX_TYPED, "the engine takes it from idle");

constexpr int WATCH_INTERVAL_MS = 500; // how often to look whether the far end's RTCP still comes

constexpr size_t READ_SIZE = 4096;
constexpr const char* MISSING_TEXT = "\xEF\xBF\xBD"; // U+FFFD, T.140's sign for missing text

// A terminal gets nothing that it could take as a command; a pipe gets the text as it came.
std::string ForOutput(const std::string& character, bool isTerminal) {
    if (!isTerminal || character == "\n") {
        return character;
    }
    if (character == "\b") {
        return "\b \b";
    }
    return character == "\r" ? "" : VisibleText(character);
}

} // namespace

PipedCall::PipedCall(TextCall& call, CallInbox& inbox, const CallClock& clock, bool echo)
    : m_Call(call), m_Inbox(inbox), m_Clock(clock), m_bTerminal(isatty(STDOUT_FILENO) == 1), m_bEcho(echo),
      m_bInputOpen(EndsWithInput()), m_nLastActiveMs(clock.NowMs()) {}

bool PipedCall::Run(int64_t lingerMs, int stopFd) {
    pollfd waits[] = {{-1, POLLIN, 0}, {m_Inbox.Fd(), POLLIN, 0}, {stopFd, POLLIN, 0}};
    while ((waits[2].revents & POLLIN) == 0 && !m_bOutputFailed && !IsOver(lingerMs)) {
        waits[0].fd = (m_bInputOpen && !HasPending()) ? STDIN_FILENO : -1;
        poll(waits, 3, WaitMs(lingerMs));
        if (waits[0].fd >= 0 && waits[0].revents != 0) {
            ReadInput();
        }
        for (const CallEvent& event : m_Inbox.TakeAll()) {
            Take(event);
        }
        TypePending();
        m_Call.WatchRtcp();
    }
    return !m_bRefused && !m_bOutputFailed;
}

void PipedCall::ReadInput() {
    char bytes[READ_SIZE];
    const ssize_t count = read(STDIN_FILENO, bytes, sizeof(bytes));
    if (count <= 0) {
        m_bInputOpen = false;
        m_nLastActiveMs = m_Clock.NowMs();
        return;
    }
    m_Pending.append(bytes, static_cast<size_t>(count));
}

void PipedCall::TypePending() {
    const int64_t now = m_Clock.NowMs();
    if (now >= m_nWindowEndMs) {
        m_nWindowEndMs = now + WINDOW_MS;
        m_nWindowBytes = WINDOW_BYTES;
    }
    const size_t length = WholeCharacters(std::string_view(m_Pending).substr(0, m_nWindowBytes));
    if (length == 0) {
        return;
    }
    if (!m_Call.Type(m_Pending.substr(0, length))) {
        m_bRefused = true;
        fprintf(stderr, "vrn-call: the engine refused %zu bytes of text\n", length);
    }
    m_Pending.erase(0, length);
    m_nWindowBytes -= length;
    m_nLastActiveMs = now;
}

void PipedCall::Take(const CallEvent& event) {
    m_nLastActiveMs = std::max(m_nLastActiveMs, event.atMs);
    if (m_bEcho && event.kind != CallEvent::RTCP_TIMEOUT) {
        event.kind == CallEvent::TEXT ? m_Heard.Put(event.text) : m_Heard.PutLoss(event.packets);
        AnswerLines();
    }
    switch (event.kind) {
    case CallEvent::TEXT:
        PutOut(ForOutput(event.text, m_bTerminal));
        break;
    case CallEvent::LOSS:
        PutOut(MISSING_TEXT);
        fprintf(stderr, "vrn-call: %d %s lost for good\n", event.packets, event.packets == 1 ? "packet" : "packets");
        break;
    case CallEvent::RTCP_TIMEOUT:
        fprintf(stderr, "vrn-call: no more RTCP from the far end\n");
        break;
    }
}

void PipedCall::PutOut(const std::string& bytes) {
    const bool isWritten = fwrite(bytes.data(), 1, bytes.size(), stdout) == bytes.size() && fflush(stdout) == 0;
    if (!isWritten && !m_bOutputFailed) {
        m_bOutputFailed = true;
        fprintf(stderr, "vrn-call: cannot write standard output: %s\n", strerror(errno));
    }
}

void PipedCall::AnswerLines() {
    while (const auto line = m_Heard.TakeLine()) {
        // An answer that cannot be sent is dropped: it would be stale by the time it can.
        if (m_Call.CanType()) {
            m_Pending += *line + T140_NEW_LINE;
        }
    }
}

bool PipedCall::HasPending() const {
    return WholeCharacters(m_Pending) > 0;
}

bool PipedCall::IsOver(int64_t lingerMs) const {
    return EndsWithInput() && !m_bInputOpen && !HasPending() && m_Clock.NowMs() >= m_nLastActiveMs + lingerMs;
}

int PipedCall::WaitMs(int64_t lingerMs) const {
    if (HasPending()) {
        return static_cast<int>(std::max<int64_t>(m_nWindowEndMs - m_Clock.NowMs(), 0));
    }
    if (m_bInputOpen || !EndsWithInput()) {
        return WATCH_INTERVAL_MS;
    }
    return static_cast<int>(std::clamp<int64_t>(m_nLastActiveMs + lingerMs - m_Clock.NowMs(), 0, WATCH_INTERVAL_MS));
}
