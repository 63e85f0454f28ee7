// The ways of packets and text: readable sockets to the dispatch thread, received text to the host, typed text to its
// channel.

#include "control/CTextControlManager.h"

#include "control/CTextSessionManager.h"
#include "util/CTextQueue.h"
#include "util/EventScope.h"
#include "util/ThreadStart.h"
#include "util/VRNLog.h"

#include <cstring>

namespace {

constexpr unsigned int RECV_QUEUE_SIZE = 100;

void FreeSocketInfo(void* item) {
    delete static_cast<CTextSocketInfo*>(item);
}

// Joinable, with the default scheduling at priority 0.
void PrepareAttributes(pthread_attr_t* attributes) {
    sched_param scheduling{};
    pthread_attr_init(attributes);
    pthread_attr_setdetachstate(attributes, PTHREAD_CREATE_JOINABLE);
    pthread_attr_getschedparam(attributes, &scheduling);
    scheduling.sched_priority = 0;
    pthread_attr_setschedparam(attributes, &scheduling);
}

} // namespace

void CTextControlManager::OnReceive(CTextSocketInfo* info) {
    VRNLock lock(m_Mutex);
    VRN_LOG(VRN_LOG_TRACE, "%s: Signal Read Thread, channel id:%d, sock_fd: %d, sock_tye: %d", info->m_nChannelId,
            info->m_nSockFd, info->m_eSockType);
    if (info->m_nChannelId >= static_cast<uint32_t>(MAX_CHANNELS)) {
        VRN_LOG(VRN_LOG_TRACE, "%s: Invalid channel id received Active_channel id:%d", m_nActiveChannel.load());
        return;
    }
    if (m_pRecvQueue == nullptr) {
        return;
    }
    CTextSocketInfo* report = new CTextSocketInfo;
    report->m_eSockType = info->m_eSockType;
    report->m_nChannelId = info->m_nChannelId;
    if (!m_pRecvQueue->PushDataToQueue(report)) {
        delete report;
    }
}

CTextQueue* CTextControlManager::RecvQueue() {
    VRNLock lock(m_Mutex);
    return m_pRecvQueue;
}

// The queue outlives this thread.
void* CTextControlManager::TRecvThread(void* arg) {
    CTextControlManager* manager = static_cast<CTextControlManager*>(arg);
    VRN_LOG(VRN_LOG_TRACE, "%s: Entered Recv Thread (%d)", manager->m_bRecvThreadRunning.load());
    while (manager->m_bRecvThreadRunning && manager->DispatchNext(__PRETTY_FUNCTION__)) {
    }
    manager->RecvQueue()->DeInitQueue(FreeSocketInfo);
    VRN_LOG(VRN_LOG_TRACE, "%s: Exiting Recv Thread");
    return nullptr;
}

bool CTextControlManager::DispatchNext(const char* caller) {
    CTextQueue* const queue = RecvQueue();
    CTextSocketInfo* report = static_cast<CTextSocketInfo*>(queue->GetDataFromQueue());
    if (report == nullptr) {
        return false;
    }
    if (!m_bRecvThreadRunning) {
        VRN_LOG_FOR(caller, VRN_LOG_TRACE, "%s: Thread is not running");
        return false;
    }
    Dispatch(*report);
    queue->DeleteQueueNode();
    delete report;
    return true;
}

void CTextControlManager::Dispatch(const CTextSocketInfo& info) {
    CSessionPin session(*this, static_cast<int>(info.m_nChannelId));
    if (!session) {
        return;
    }
    if (info.m_eSockType == VRN_SOCK_RTP) {
        session->Transport().ProcessRecvdRTP();
    } else {
        session->Transport().ProcessRecvdRTCP();
    }
}

void CTextControlManager::CreateRecvThread() {
    m_bRecvThreadRunning = true;
    pthread_attr_t attributes;
    PrepareAttributes(&attributes);
    CTextQueue* queue = new CTextQueue;
    queue->InitQueue(RECV_QUEUE_SIZE);
    {
        VRNLock lock(m_Mutex);
        m_pRecvQueue = queue;
    }
    m_bRecvThreadCreated = VRNStartThread(&m_RecvThread, &attributes, TRecvThread, this) == 0;
    pthread_attr_destroy(&attributes);
    if (m_bRecvThreadCreated) {
        VRN_LOG(VRN_LOG_TRACE, "%s: Created Recv Thread");
        return;
    }
    VRN_LOG(VRN_LOG_TRACE, "%s: Thread Creation failed");
    VRNLock lock(m_Mutex);
    delete m_pRecvQueue;
    m_pRecvQueue = nullptr;
}

void CTextControlManager::DestroyRecvThread() {
    m_bRecvThreadRunning = false;
    {
        VRNLock lock(m_Mutex);
        if (m_pRecvQueue != nullptr) {
            m_pRecvQueue->DeInit();
        }
    }
    VRN_LOG(VRN_LOG_TRACE, "%s: Thread join for Recv Thread");
    if (!m_bRecvThreadCreated || VRNJoinThread(m_RecvThread) != 0) {
        VRN_LOG(VRN_LOG_FAILURE, "%s: Failed to join, thread is already stopped");
        return;
    }
    m_bRecvThreadCreated = false;
    VRN_LOG(VRN_LOG_TRACE, "%s: Recv Thread destroyed");
    VRNLock lock(m_Mutex);
    delete m_pRecvQueue;
    m_pRecvQueue = nullptr;
}

int CTextControlManager::SendText(int channel, char* text, unsigned int length) {
    if (!IsChannelId(channel)) {
        VRN_LOG(VRN_LOG_FAILURE, "%s: Invalid Session %d", channel);
        return -1;
    }
    CSessionPin session(*this, channel);
    if (session && (session->GetDirection() & VRN_CHANNEL_SENDONLY) != 0) {
        return session->Transport().SendText(text, length);
    }
    VRN_LOG(VRN_LOG_FAILURE, "%s: Session not created - Session %d", channel);
    return -1;
}

// Most steps end at once: nothing has changed since a step found nothing to show. The pin is gone before the handler
// runs, so that the handler may delete other channels, and another thread this one.
void CTextControlManager::GetTextAndDisplay() {
    // Read before the channel: a switch to another one in between is then counted as a change that came meanwhile.
    const uint64_t changes = m_nChanges;
    const int channel = m_nActiveChannel;
    if (channel == NO_ACTIVE_CHANNEL || changes == m_nChangesWhenEmpty) {
        return;
    }
    int length = 0;
    {
        CSessionPin session(*this, channel);
        if (!session) {
            return;
        }
        memset(m_DispBuf, 0, sizeof(m_DispBuf));
        length = session->Transport().GetTextForDisp(m_DispBuf, DISPLAY_BUFFER_SIZE);
        if (!session->Transport().MayHaveText()) {
            m_nChangesWhenEmpty = changes + 1; // the one is this step's own pin; any other counts further
        }
    }
    if (length == 0) {
        return;
    }
    m_DispText.pText = m_DispBuf;
    m_DispText.nLen = length;
    VRN_LOG(VRN_LOG_TRACE, "%s: Sending for Disp Len %d, Sess %d", length, channel);
    const VRNEventHandler handler = m_pEventHandler;
    if (handler != nullptr) {
        EventScope scope(channel, VRN_EVENT_TEXT_RECEIVED);
        handler(channel, VRN_EVENT_TEXT_RECEIVED, &m_DispText);
    }
}
