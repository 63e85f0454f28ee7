// The channel table and what runs while it holds a channel.

#include "control/CTextControlManager.h"

#include "control/CTextSessionManager.h"
#include "net/NetworkRecv.h"
#include "util/CTextFeeder.h"
#include "util/EventScope.h"
#include "util/VRNClock.h"
#include "util/VRNLog.h"

#include <memory>

CTextControlManager::CTextControlManager() : m_RecvThread(static_cast<pthread_t>(-1)) {}

CTextControlManager::~CTextControlManager() {
    VRNLock lock(m_TableMutex);
    m_nNumSessions = 0;
}

CTextSessionManager* CTextControlManager::Pin(int channel) {
    if (!IsChannelId(channel)) {
        return nullptr;
    }
    VRNLock lock(m_TableMutex);
    if (m_pSession[channel] != nullptr) {
        ++m_nPins[channel];
    }
    return m_pSession[channel];
}

void CTextControlManager::Unpin(int channel) {
    VRNLock lock(m_TableMutex);
    --m_nPins[channel];
    ++m_nChanges;
    if (m_bDeleting[channel]) {
        m_TableChanged.Broadcast();
    }
}

int CTextControlManager::CreateChannel() {
    bool isFirst = false;
    int channels = 0;
    const int channel = ReserveSlot(&isFirst, &channels);
    if (channel < 0) {
        VRN_LOG(VRN_LOG_FAILURE, "%s: No Free Session: %d", channels);
        return -1;
    }
    auto session = std::make_unique<CTextSessionManager>();
    session->Transport().SetSessionParams(static_cast<unsigned int>(channel), m_pEventHandler);
    if (isFirst) {
        StartMachinery();
    }
    session->Transport().SetNetworkRecvInstance(m_pNetworkRecv);
    Publish(channel, session.release(), isFirst);
    VRN_LOG(VRN_LOG_TRACE, "%s: Created Session %d, Num of sess %d", channel, channels);
    return channel;
}

// The lowest free slot, taken, or -1. A first channel also takes the machinery. Inside an event the machinery is not
// waited for: the thread that stops it waits for the event.
int CTextControlManager::ReserveSlot(bool* isFirst, int* channels) {
    VRNLock lock(m_TableMutex);
    while (m_bMachineryChanging && EventScope::CurrentEvent() == 0) {
        m_TableChanged.Wait(m_TableMutex);
    }
    int reserved = -1;
    for (int channel = 0; channel < MAX_CHANNELS && reserved < 0 && !m_bMachineryChanging; ++channel) {
        if (m_nSessionInUse[channel] == 0) {
            reserved = channel;
        }
    }
    if (reserved >= 0) {
        m_nSessionInUse[reserved] = 1;
        ++m_nNumSessions;
        *isFirst = m_nNumSessions == 1;
        m_bMachineryChanging = *isFirst;
    }
    *channels = m_nNumSessions;
    return reserved;
}

void CTextControlManager::Publish(int channel, CTextSessionManager* session, bool wasFirst) {
    VRNLock lock(m_TableMutex);
    m_pSession[channel] = session;
    ++m_nChanges;
    if (wasFirst) {
        m_bMachineryChanging = false;
    }
    m_TableChanged.Broadcast();
}

void CTextControlManager::StartMachinery() {
    VRNResetAndGetTime();
    VRNSeedRand(static_cast<unsigned int>(VRNGetTime()));
    CreateRecvThread();
    m_pNetworkRecv = new NetworkRecv;
    m_pNetworkRecv->SetControlManagerHandle(this);
    m_pNetworkRecv->Start();
    m_pFeeder = new CTextFeeder;
    m_pFeeder->RegisterControlManager(this);
    m_pFeeder->Start();
}

int CTextControlManager::DeleteChannel(int channel) {
    VRN_LOG(VRN_LOG_TRACE, "%s: Session %d, Num of sess %d", channel, NumSessions());
    if (!IsChannelId(channel)) {
        VRN_LOG(VRN_LOG_FAILURE, "%s: Invalid Session %d", channel);
        return -1;
    }
    CTextSessionManager* session = nullptr;
    bool isLast = false;
    const Withdrawal withdrawal = Withdraw(channel, &session, &isLast);
    if (withdrawal == Withdrawal::NoChannel) {
        return 1;
    }
    if (withdrawal == Withdrawal::Refused) {
        VRN_LOG(VRN_LOG_FAILURE, "%s: Refused inside an event, Session %d", channel);
        return -1;
    }
    if (session->Transport().IsBuilt()) {
        session->StopFDSR();
    }
    if (isLast) {
        StopMachinery();
    }
    delete session;
    FreeSlot(channel, isLast);
    // Kept: a success, logged as a failure.
    VRN_LOG(VRN_LOG_FAILURE, "%s: Deleted Session %d", channel);
    return 1;
}

int CTextControlManager::NumSessions() {
    VRNLock lock(m_TableMutex);
    return m_nNumSessions;
}

// True when no other slot holds a channel that is not being deleted itself.
bool CTextControlManager::IsOnlyLiveChannel(int channel) {
    for (int other = 0; other < MAX_CHANNELS; ++other) {
        if (other != channel && m_nSessionInUse[other] != 0 && !m_bDeleting[other]) {
            return false;
        }
    }
    return true;
}

// Takes the session out of the table and waits until nobody works on it any more; for the last channel also until the
// deletions under way on other threads are done with the machinery. Refused where the wait would be for the calling
// thread itself: inside the channel's own event 2, and inside any event for the last channel, whose deletion joins the
// threads that events run on or wait for.
CTextControlManager::Withdrawal CTextControlManager::Withdraw(int channel, CTextSessionManager** session,
                                                              bool* isLast) {
    VRNLock lock(m_TableMutex);
    *session = m_pSession[channel];
    if (*session == nullptr) {
        return Withdrawal::NoChannel;
    }
    *isLast = IsOnlyLiveChannel(channel);
    const int event = EventScope::CurrentEvent();
    const bool isOwn = event == VRN_EVENT_RTCP_TIMEOUT && EventScope::CurrentChannel() == channel;
    if (isOwn || (event != 0 && *isLast)) {
        return Withdrawal::Refused;
    }
    m_pSession[channel] = nullptr;
    m_bDeleting[channel] = true;
    m_bMachineryChanging = m_bMachineryChanging || *isLast;
    while (m_nPins[channel] != 0 || (*isLast && m_nNumSessions > 1)) {
        m_TableChanged.Wait(m_TableMutex);
    }
    return Withdrawal::Done;
}

void CTextControlManager::FreeSlot(int channel, bool wasLast) {
    VRNLock lock(m_TableMutex);
    m_nSessionInUse[channel] = 0;
    m_bDeleting[channel] = false;
    --m_nNumSessions;
    if (wasLast) {
        m_bMachineryChanging = false;
    }
    m_TableChanged.Broadcast();
}

void CTextControlManager::StopMachinery() {
    DestroyRecvThread();
    m_pFeeder->Stop();
    delete m_pFeeder;
    m_pFeeder = nullptr;
    m_pNetworkRecv->Stop();
    delete m_pNetworkRecv;
    m_pNetworkRecv = nullptr;
}
