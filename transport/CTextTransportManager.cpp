// Settings, starting and stopping.

#include "transport/CTextTransportManager.h"

#include "net/NetworkRecv.h"
#include "util/VRNClock.h"
#include "util/VRNLog.h"

#include <cstring>

namespace {

constexpr uint32_t SSRC_BITS = 0x7FFFFFFF;

template <size_t Size> void CopyAddress(char (&kept)[Size], const char* ip) {
    strncpy(kept, ip, Size - 1);
    kept[Size - 1] = '\0';
}

} // namespace

CTextTransportManager::CTextTransportManager() = default;

CTextTransportManager::~CTextTransportManager() {
    if (IsBuilt()) {
        StopTransport();
    }
    VRNWaitForCallbacks(this);
}

void CTextTransportManager::SetSessionParams(unsigned int sessionId, VRNEventHandler handler) {
    m_nSessionId = sessionId;
    m_pEventHandler = handler;
}

void CTextTransportManager::SetSendCodec(stVRN_CodecInfo* codec) {
    m_nT140PayloadType = codec->nSendT140PayloadType;
    m_nRecvT140PayloadType = codec->nRecvT140PayloadType;
    m_nRedPayloadType = codec->nSendRedPayloadType;
    m_nRecvRedPayloadType = codec->nRecvRedPayloadType;
    m_nRedundancyLevel = codec->nRedundancyLevel;
}

void CTextTransportManager::SetSendConnection(char const* ip, unsigned short port) {
    VRNLock lock(m_SettingsMutex);
    CopyAddress(m_Settings.m_RemoteIP, ip);
    m_Settings.m_nRemoteRtpPort = port;
    m_Settings.m_nRemoteRtcpPort = port + 1U;
}

void CTextTransportManager::SetRecvConnection(char const* ip, unsigned short port) {
    VRNLock lock(m_SettingsMutex);
    CopyAddress(m_Settings.m_LocalIP, ip);
    m_Settings.m_nLocalRtpPort = port;
    m_Settings.m_nLocalRtcpPort = port + 1U;
}

void CTextTransportManager::SetNetID(int netId) {
    VRNLock lock(m_SettingsMutex);
    m_Settings.m_nNetId = netId;
}

int CTextTransportManager::SetRtcpBandwidth(int first, int second) {
    m_nRtcpBandwidth[0] = first;
    m_nRtcpBandwidth[1] = second;
    return 1;
}

int CTextTransportManager::SetRtcpTimeout(short seconds) {
    m_nRtcpTimeout = seconds;
    return 1;
}

int CTextTransportManager::SetDirection(VRN_CHANNEL_STATUS direction) {
    m_eDirection = direction;
    return 1;
}

CTextTransportManager::Settings CTextTransportManager::CurrentSettings() {
    VRNLock lock(m_SettingsMutex);
    return m_Settings;
}

std::shared_ptr<T140Codec> CTextTransportManager::Codec() {
    VRNLock lock(m_SendMutex);
    return m_pCodec;
}

bool CTextTransportManager::IsBuilt() {
    VRNRecursiveLock lock(m_Mutex);
    return m_pRtpSocket != nullptr;
}

int CTextTransportManager::StartTransport() {
    VRN_LOG(VRN_LOG_TRACE, "%s: Starting Text Transport");
    int built = 0;
    while (built == 0) {
        if (IsBuilt()) {
            StopTransport();
        }
        built = Build();
    }
    if (built < 0) {
        VRN_LOG(VRN_LOG_TRACE, "%s: Start Recv failed - due to socket creation failure");
        return -1;
    }
    VRN_LOG(VRN_LOG_TRACE, "%s: :Exit");
    return 1;
}

// 1, -1 when a socket could not be created, or 0 when another thread has built it meanwhile.
int CTextTransportManager::Build() {
    VRNRecursiveLock lock(m_Mutex);
    if (IsBuilt()) {
        return 0;
    }
    Settings settings = CurrentSettings();
    m_pRtpSocket = std::make_unique<CSocket>();
    m_pRtcpSocket = std::make_unique<CSocket>();
    ResetSendRecord();
    CreateCodec();
    if (m_pRtpSocket->Create(settings.m_LocalIP, static_cast<short>(settings.m_nLocalRtpPort), settings.m_nNetId,
                             m_LocalRtpAddr) != 1 ||
        m_pRtcpSocket->Create(settings.m_LocalIP, static_cast<short>(settings.m_nLocalRtcpPort), settings.m_nNetId,
                              m_LocalRtcpAddr) != 1) {
        return -1;
    }
    m_pRtpSocket->SetParams(m_nSessionId, VRN_SOCK_RTP);
    m_pRtcpSocket->SetParams(m_nSessionId, VRN_SOCK_RTCP);
    SetRemoteAddresses(settings);
    InitRTCP();
    m_hReportTimer = VRNCreateTimer();
    m_hTimeoutTimer = VRNCreateTimer();
    m_bStarted = true;
    return 1;
}

void CTextTransportManager::ResetSendRecord() {
    VRNLock send(m_SendMutex);
    m_RtpSend.m_nVersion = RTP_VERSION;
    m_RtpSend.m_nPadding = 0;
    m_RtpSend.m_nExtension = 0;
    m_RtpSend.m_nCsrcCount = 0;
    m_RtpSend.m_nSSRC = static_cast<uint32_t>(VRNRand()) & SSRC_BITS;
    m_RtpSend.m_nPacketCount = 0;
    m_RtpSend.m_nOctetCount = 0;
}

// The codec is seen by other threads only once it is ready.
void CTextTransportManager::CreateCodec() {
    m_pReceivedList = std::make_unique<VRNList<CTextDataBuffer*>>();
    auto codec = std::make_shared<T140Codec>(this);
    codec->Init(m_nRedundancyLevel, m_nT140PayloadType, m_pReceivedList.get());
    VRNLock send(m_SendMutex);
    m_pCodec = codec;
}

void CTextTransportManager::SetRemoteAddresses(Settings& settings) {
    VRNLock send(m_SendMutex);
    m_pRtpSocket->SetAddress(settings.m_RemoteIP, static_cast<int>(settings.m_nRemoteRtpPort), m_RemoteRtpAddr);
    m_pRtcpSocket->SetAddress(settings.m_RemoteIP, static_cast<int>(settings.m_nRemoteRtcpPort), m_RemoteRtcpAddr);
    m_pSendSocket = m_pRtpSocket.get();
}

int CTextTransportManager::StopTransport() {
    std::shared_ptr<T140Codec> codec;
    {
        VRNRecursiveLock lock(m_Mutex);
        if (m_bRtcpEnabled) {
            SetRtcpEnable(false);
            m_bRtcpEnabled = false;
        }
        m_bStarted = false;
        codec = DetachSender();
        m_bMayHaveText = true; // GetTextForDisp has to tell that there is no codec
        ReleaseFromReceiver();
        for (CSocket* socket : {m_pRtpSocket.get(), m_pRtcpSocket.get()}) {
            // A socket that was never opened fails to close, and the line says so.
            if (socket != nullptr && socket->Close() == -1) {
                VRN_LOG(VRN_LOG_FAILURE, "%s: Socket Close failed");
            }
        }
        if (codec != nullptr) {
            codec->Delnit();
        }
        EmptyReceivedList();
        DeInitRTCP();
        DeleteTimers();
        m_pReceivedList.reset();
        m_pRtpSocket.reset();
        m_pRtcpSocket.reset();
    }
    if (codec != nullptr) {
        // Inside event 2 m_Mutex is reserved meanwhile: no tick ever takes it.
        VRNWaitForCallbacks(codec.get());
        codec.reset();
    }
    VRN_LOG(VRN_LOG_TRACE, "%s: :Exit");
    return 1;
}

// Nothing is sent on the RTP socket after this, so it can be closed.
std::shared_ptr<T140Codec> CTextTransportManager::DetachSender() {
    VRNLock send(m_SendMutex);
    m_pSendSocket = nullptr;
    return std::move(m_pCodec);
}

// Nothing closed stays registered: a stop need not have been preceded by StopReceive or by switching RTCP off.
void CTextTransportManager::ReleaseFromReceiver() {
    Unwatch(m_pRtpSocket.get());
    Unwatch(m_pRtcpSocket.get());
    NetworkRecv* const receiver = m_pNetworkRecv;
    if (m_pRtpSocket != nullptr && receiver != nullptr) {
        receiver->LeaveSelect();
    }
}

void CTextTransportManager::Unwatch(CSocket* socket) {
    NetworkRecv* const receiver = m_pNetworkRecv;
    if (socket != nullptr && receiver != nullptr && socket->IsWatched()) {
        socket->SetWatched(false);
        receiver->UnRegisterSocket(socket->GetSockFd());
    }
}

void CTextTransportManager::EmptyReceivedList() {
    if (m_pReceivedList == nullptr) {
        return;
    }
    for (auto* head = m_pReceivedList->HeadNode(); head != nullptr; head = m_pReceivedList->HeadNode()) {
        delete head->m_Data;
        m_pReceivedList->DeleteNode(nullptr, VRN_LIST_HEAD);
    }
}

void CTextTransportManager::DeleteTimers() {
    for (HObject* timer : {&m_hReportTimer, &m_hTimeoutTimer}) {
        if (*timer != VRN_NO_TIMER) {
            VRNDeleteTimer(*timer);
            *timer = VRN_NO_TIMER;
        }
    }
}

int CTextTransportManager::StartReceive() {
    VRNRecursiveLock lock(m_Mutex);
    NetworkRecv* const receiver = m_pNetworkRecv;
    if (!m_bStarted || receiver == nullptr) {
        VRN_LOG(VRN_LOG_FAILURE, "%s: Transport not started:%d", m_nSessionId.load());
        return -1;
    }
    if (receiver->RegisterSocket(m_pRtpSocket->GetSockFd(), m_pRtpSocket->Info()) != 1) {
        return -1;
    }
    m_pRtpSocket->SetWatched(true);
    Codec()->ResetLastPlayedSeqNum();
    m_pReceiveBuffer = std::make_unique<uint8_t[]>(TRANSPORT_BUFFER_SIZE);
    VRN_LOG(VRN_LOG_TRACE, "%s: :SessionID:%d", m_nSessionId.load());
    return 1;
}

int CTextTransportManager::StopReceive() {
    VRNRecursiveLock lock(m_Mutex);
    NetworkRecv* const receiver = m_pNetworkRecv;
    if (m_pRtpSocket != nullptr && receiver != nullptr) {
        m_pRtpSocket->SetWatched(false);
        receiver->UnRegisterSocket(m_pRtpSocket->GetSockFd());
    }
    m_pReceiveBuffer.reset();
    VRN_LOG(VRN_LOG_TRACE, "%s: :Exit");
    return 1;
}
