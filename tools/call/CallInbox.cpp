#include "call/CallInbox.h"

#include <sys/eventfd.h>
#include <unistd.h>

CallInbox::CallInbox(const CallClock& clock) : m_Clock(clock), m_nFd(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {}

CallInbox::~CallInbox() {
    close(m_nFd);
}

void CallInbox::OnText(std::string_view character) {
    Put({CallEvent::TEXT, m_Clock.NowMs(), std::string(character), 0});
}

void CallInbox::OnLoss(int packets) {
    Put({CallEvent::LOSS, m_Clock.NowMs(), "", packets});
}

void CallInbox::OnRtcpTimeout() {
    Put({CallEvent::RTCP_TIMEOUT, m_Clock.NowMs(), "", 0});
}

void CallInbox::Put(CallEvent event) {
    const std::lock_guard<std::mutex> lock(m_Mutex);
    m_Events.push_back(std::move(event));
    eventfd_write(m_nFd, 1);
}

std::vector<CallEvent> CallInbox::TakeAll() {
    const std::lock_guard<std::mutex> lock(m_Mutex);
    eventfd_t count;
    eventfd_read(m_nFd, &count);
    std::vector<CallEvent> events;
    events.swap(m_Events);
    return events;
}
