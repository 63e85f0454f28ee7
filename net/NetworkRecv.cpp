#include "net/NetworkRecv.h"

#include "control/CTextControlManager.h"
#include "util/VRNLog.h"

#include <algorithm>
#include <sys/eventfd.h>
#include <unistd.h>

namespace {

// One wait ends after this long even without traffic.
constexpr timeval SELECT_TIMEOUT = {1, 300000};

// Gives the dispatch thread time to read what was reported; a socket still unread is reported again.
constexpr long PAUSE_AFTER_REPORT_US = 30000;

} // namespace

NetworkRecv::NetworkRecv()
    : m_pThread(new TextThread(new NetworkRecvRunnable(this))), m_nWakeFd(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
    FD_ZERO(&m_ReadFds);
}

NetworkRecv::~NetworkRecv() {
    if (m_bRunning.IsSet()) {
        Stop();
    }
    {
        VRNLock lock(m_Mutex);
        m_Sockets.clear();
    }
    delete m_pThread;
    if (m_nWakeFd >= 0) {
        close(m_nWakeFd);
    }
}

int NetworkRecv::Start() {
    VRN_LOG(VRN_LOG_TRACE, "%s: Entry");
    {
        VRNLock lock(m_Mutex);
        m_bBlockThread = true;
        m_bRunning.Set(true);
    }
    return m_pThread->Start();
}

int NetworkRecv::Stop() {
    VRN_LOG(VRN_LOG_TRACE, "%s: Entry");
    {
        VRNLock lock(m_Mutex);
        m_bBlockThread = false;
        m_bRunning.Set(false);
        m_Cond.Signal();
    }
    Wake();
    return m_pThread->Stop();
}

int NetworkRecv::RegisterSocket(int fd, CTextSocketInfo* info) {
    if (!FitsReadSet(fd)) {
        VRN_LOG(VRN_LOG_FAILURE, "%s: Socket out of range:%d", fd);
        return -1;
    }
    VRNLock lock(m_Mutex);
    m_Sockets.emplace(fd, info);
    VRN_LOG(VRN_LOG_TRACE, "%s: : blockthread (%d)", m_bBlockThread);
    m_bBlockThread = false;
    m_Cond.Signal();
    Wake();
    return 1;
}

void NetworkRecv::UnRegisterSocket(int fd) {
    VRNLock lock(m_Mutex);
    m_Sockets.erase(fd);
    VRN_LOG(VRN_LOG_TRACE, "%s: sock fd:%d", fd);
}

// No longer than a wake-up takes, since the thread takes no lock of the caller's; up to the time-out of select where
// there is no descriptor to wake it by.
void NetworkRecv::LeaveSelect() {
    VRNLock lock(m_Mutex);
    if (!m_bWaiting) {
        return;
    }
    Wake();
    const unsigned round = m_nRound;
    while (m_bWaiting && m_nRound == round) {
        m_RoundDone.Wait(m_Mutex);
    }
}

int NetworkRecv::SetReadFDSet() {
    FD_ZERO(&m_ReadFds);
    VRNLock lock(m_Mutex);
    int fd = 0;
    int maxFd = 0;
    for (const auto& entry : m_Sockets) {
        fd = entry.first;
        FD_SET(fd, &m_ReadFds);
        maxFd = std::max(maxFd, fd);
    }
    VRN_LOG(VRN_LOG_TRACE, "%s: sockfd:%d maxfd:%d", fd, maxFd);
    return maxFd;
}

// The number of readable sockets; 0 after a wake-up alone or a time-out, negative after an error.
int NetworkRecv::WaitForReadable() {
    BeginWait();
    int maxFd = SetReadFDSet();
    if (FitsReadSet(m_nWakeFd)) {
        FD_SET(m_nWakeFd, &m_ReadFds);
        maxFd = std::max(maxFd, m_nWakeFd);
    }
    timeval timeout = SELECT_TIMEOUT;
    int readable = select(maxFd + 1, &m_ReadFds, nullptr, nullptr, &timeout);
    if (readable > 0 && FitsReadSet(m_nWakeFd) && FD_ISSET(m_nWakeFd, &m_ReadFds)) {
        DrainWake();
        --readable;
    }
    EndWait();
    return readable;
}

void NetworkRecv::BeginWait() {
    VRNLock lock(m_Mutex);
    m_bWaiting = true;
}

void NetworkRecv::EndWait() {
    VRNLock lock(m_Mutex);
    m_bWaiting = false;
    ++m_nRound;
    m_RoundDone.Broadcast();
}

void NetworkRecv::ReportReadable() {
    VRNLock lock(m_Mutex);
    for (const auto& entry : m_Sockets) {
        if (FD_ISSET(entry.first, &m_ReadFds)) {
            m_pControlManager.load()->OnReceive(entry.second);
        }
    }
}

void NetworkRecv::Wake() {
    const eventfd_t one = 1;
    if (m_nWakeFd >= 0) {
        eventfd_write(m_nWakeFd, one);
    }
}

void NetworkRecv::DrainWake() {
    eventfd_t count = 0;
    eventfd_read(m_nWakeFd, &count);
}

void NetworkRecvRunnable::Run() {
    NetworkRecv& receiver = *m_pReceiver;
    {
        VRNLock lock(receiver.m_Mutex);
        if (receiver.m_Sockets.empty()) {
            VRN_LOG(VRN_LOG_TRACE, "%s: No socket Registered, waiting for socket register");
        }
        while (receiver.m_Sockets.empty() && receiver.m_bRunning.IsSet()) {
            receiver.m_Cond.Wait(receiver.m_Mutex);
        }
    }
    VRN_LOG(VRN_LOG_TRACE, "%s: Entering Network Recv Thread");
    while (receiver.m_bRunning.IsSet()) {
        if (receiver.WaitForReadable() >= 1) {
            receiver.ReportReadable();
            receiver.m_bRunning.Pause(PAUSE_AFTER_REPORT_US);
        }
    }
}
