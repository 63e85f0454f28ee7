// RTCP: the report every two seconds and the watch over the far end's.

#include "transport/CTextTransportManager.h"

#include "net/NetworkRecv.h"
#include "util/EventScope.h"
#include "util/VRNClock.h"
#include "util/VRNLog.h"

#include <unistd.h>

namespace {
constexpr uint32_t MS_PER_SECOND = 1000;
constexpr useconds_t EVENT_TURN_POLL_US = 1000;
} // namespace

VRNMutex& CTextTransportManager::s_EventTurn = *new VRNMutex;

void RTCPReportTimerCallbackFn(sigval value) {
    static_cast<CTextTransportManager*>(value.sival_ptr)->GenerateAndSendRTCPReport();
}

void RTCPTimeoutCallbackFn(sigval value) {
    static_cast<CTextTransportManager*>(value.sival_ptr)->OnRTCPTimerExpiration();
}

int CTextTransportManager::InitRTCP() {
    m_RtcpSend.m_nVersion = RTP_VERSION;
    m_RtcpSend.m_nPadding = 0;
    m_RtcpSend.m_nReportCount = 1;
    {
        VRNLock send(m_SendMutex);
        m_RtcpSend.m_nSSRC = m_RtpSend.m_nSSRC;
    }
    m_RtcpRecv.m_nLastArrivalTick = VRNGetTickCount();
    m_RtcpRecv.m_nLastSRTick = 0;
    if (m_pRtcpSendBuffer == nullptr) {
        m_pRtcpSendBuffer = std::make_unique<uint8_t[]>(RTCP_BUFFER_SIZE);
    }
    if (m_pRtcpRecvBuffer == nullptr) {
        m_pRtcpRecvBuffer = std::make_unique<uint8_t[]>(RTCP_BUFFER_SIZE);
    }
    m_RtcpSend.m_pBuffer = m_pRtcpSendBuffer.get();
    m_RtcpRecv.m_pBuffer = m_pRtcpRecvBuffer.get();
    return 1;
}

void CTextTransportManager::DeInitRTCP() {
    m_RtcpSend.m_pBuffer = nullptr;
    m_RtcpRecv.m_pBuffer = nullptr;
    m_pRtcpSendBuffer.reset();
    m_pRtcpRecvBuffer.reset();
}

// A timer that fails leaves the socket registered; kept.
int CTextTransportManager::SetRtcpEnable(bool enable) {
    VRNRecursiveLock lock(m_Mutex);
    const uint32_t id = m_nSessionId;
    VRN_LOG(VRN_LOG_TRACE, "%s: SetRtcpEnable (%d), isEnabled (%d)", enable, m_bRtcpEnabled);
    if (enable == m_bRtcpEnabled) {
        return 1;
    }
    if (enable) {
        if (!RegisterRtcpSocket() || StartReportTimer() != 1) {
            VRN_LOG(VRN_LOG_FAILURE, "%s: RTCP enabling failed (%d)", id);
            return -1;
        }
        if (StartRTCPTimeoutTimer(0) != 1) {
            VRN_LOG(VRN_LOG_FAILURE, "%s: Start RTCP Timeout Timer failed (%d)", id);
            return -1;
        }
    } else {
        Unwatch(m_pRtcpSocket.get());
        if (StopReportTimer() != 1) {
            VRN_LOG(VRN_LOG_FAILURE, "%s: RTCP disabling failed (%d)", id);
            return -1;
        }
        if (StopRTCPTimeoutTimer() != 1) {
            VRN_LOG(VRN_LOG_FAILURE, "%s: Stop RTCP Timeout Timer failed (%d)", id);
            return -1;
        }
    }
    m_bRtcpEnabled = enable;
    return 1;
}

bool CTextTransportManager::RegisterRtcpSocket() {
    NetworkRecv* const receiver = m_pNetworkRecv;
    if (!m_bStarted || receiver == nullptr ||
        receiver->RegisterSocket(m_pRtcpSocket->GetSockFd(), m_pRtcpSocket->Info()) != 1) {
        return false;
    }
    m_pRtcpSocket->SetWatched(true);
    return true;
}

int CTextTransportManager::StartReportTimer() {
    if (m_hReportTimer == VRN_NO_TIMER) {
        return 1;
    }
    if (!VRNStartTimer(m_hReportTimer, RTCP_REPORT_INTERVAL_MS, RTCPReportTimerCallbackFn, this)) {
        VRN_LOG(VRN_LOG_FAILURE, "%s: Start RTCP Timer failed (%d)", m_nSessionId.load());
        return -1;
    }
    return 1;
}

int CTextTransportManager::StopReportTimer() {
    if (m_hReportTimer != VRN_NO_TIMER && !VRNCancelTimer(m_hReportTimer)) {
        VRN_LOG(VRN_LOG_FAILURE, "%s: Stop RTCP Timer failed (%d)", m_nSessionId.load());
        return -1;
    }
    return 1;
}

// Kept: the time-out is in seconds, what has elapsed in milliseconds, and their difference is taken as milliseconds. At
// 0 and below it the timer never fires.
int CTextTransportManager::StartRTCPTimeoutTimer(short elapsedMs) {
    if (m_hTimeoutTimer == VRN_NO_TIMER) {
        return 1;
    }
    const int duration = m_nRtcpTimeout - elapsedMs;
    if (!VRNStartTimer(m_hTimeoutTimer, static_cast<unsigned long>(duration), RTCPTimeoutCallbackFn, this)) {
        VRN_LOG(VRN_LOG_FAILURE, "%s: Start RTCP Timeout Timer failed (%d)", m_nSessionId.load());
        return -1;
    }
    return 1;
}

int CTextTransportManager::StopRTCPTimeoutTimer() {
    if (m_hTimeoutTimer != VRN_NO_TIMER && !VRNCancelTimer(m_hTimeoutTimer)) {
        VRN_LOG(VRN_LOG_FAILURE, "%s: Stop RTCP Timeout Timer failed (%d)", m_nSessionId.load());
        return -1;
    }
    return 1;
}

uint32_t CTextTransportManager::BuildReport() {
    const VRN_CHANNEL_STATUS direction = m_eDirection;
    if (direction == VRN_CHANNEL_SENDONLY || direction == VRN_CHANNEL_SENDRECV) {
        VRNLock send(m_SendMutex);
        m_RTCP.MakeRtcpSRPacket(&m_RtcpSend, &m_RtcpRecv, &m_RtpSend, &m_RtpRecv);
    } else {
        m_RTCP.MakeRtcpRRPacket(&m_RtcpSend, &m_RtcpRecv, &m_RtpRecv);
    }
    return m_RtcpSend.m_nPacketLen;
}

void CTextTransportManager::GenerateAndSendRTCPReport() {
    VRNRecursiveLock lock(m_Mutex);
    // A report that was cancelled while it waited for the lock is neither sent nor armed again.
    if (!VRNExpiryIsCurrent()) {
        return;
    }
    VRN_LOG(VRN_LOG_TRACE, "%s: Generate and Send RTCP (%d)", m_nSessionId.load());
    int sent = -1;
    if (m_pRtcpSocket != nullptr && m_RtcpSend.m_pBuffer != nullptr) {
        const uint32_t length = BuildReport();
        sent = m_pRtcpSocket->Sendto(m_RtcpSend.m_pBuffer, static_cast<int>(length), m_RemoteRtcpAddr);
    }
    if (sent < 1) {
        // Kept: reports end with the first that cannot be sent, until RTCP is switched on again.
        VRN_LOG(VRN_LOG_TRACE, "%s: RTCP Sendto failed");
        return;
    }
    StartReportTimer();
}

// False when the expiry was cancelled while it waited: its channel may be waiting for it to end, called from inside the
// very event that has the turn.
bool CTextTransportManager::TakeEventTurn() VRN_NO_THREAD_SAFETY_ANALYSIS {
    while (!s_EventTurn.TryLock()) {
        if (!VRNExpiryIsCurrent()) {
            return false;
        }
        usleep(EVENT_TURN_POLL_US);
    }
    return true;
}

void CTextTransportManager::OnRTCPTimerExpiration() {
    // Only an event that is due waits for the turn: checks that find nothing do not.
    if (!IsSilent(false) || !TakeEventTurn()) {
        return;
    }
    if (IsSilent(true)) {
        const VRNEventHandler handler = m_pEventHandler;
        const int channel = static_cast<int>(m_nSessionId);
        if (handler != nullptr) {
            EventScope scope(channel, VRN_EVENT_RTCP_TIMEOUT);
            handler(channel, VRN_EVENT_RTCP_TIMEOUT, nullptr);
        }
        m_Mutex.Release();
    }
    s_EventTurn.Unlock();
}

// True when the far end has been silent for too long; with `reserve` m_Mutex is then the calling thread's until it
// releases it. Otherwise the timer is armed again, unless this expiry is void.
bool CTextTransportManager::IsSilent(bool reserve) {
    VRNRecursiveLock lock(m_Mutex);
    if (!VRNExpiryIsCurrent()) {
        return false;
    }
    // Taken under the lock, or a report that comes in between would read as 2^32 ms of silence.
    const uint32_t elapsed = VRNDiffTime(VRNGetTickCount(), m_RtcpRecv.m_nLastArrivalTick);
    if (elapsed > static_cast<uint32_t>(m_nRtcpTimeout) * MS_PER_SECOND) {
        if (reserve) {
            m_Mutex.Reserve();
        }
        return true;
    }
    StartRTCPTimeoutTimer(static_cast<short>(elapsed));
    return false;
}
