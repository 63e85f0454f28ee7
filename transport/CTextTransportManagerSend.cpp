// The way out: typed text to the codec, the codec's payloads to the wire.

#include "transport/CTextTransportManager.h"

#include "util/VRNLog.h"

#include <cstring>

namespace {
// Kept: numbers start at 1 whenever sending starts, where RFC 3550 asks for a random one.
constexpr uint16_t FIRST_SEQUENCE_NUMBER = 1;
} // namespace

int CTextTransportManager::StartSend() {
    VRNLock send(m_SendMutex);
    m_RtpSend.m_nSeqNum = FIRST_SEQUENCE_NUMBER;
    m_pSendBuffer = std::make_unique<uint8_t[]>(TRANSPORT_BUFFER_SIZE);
    VRN_LOG(VRN_LOG_TRACE, "%s:  ...exit");
    return 1;
}

int CTextTransportManager::StopSend() {
    if (const auto codec = Codec()) {
        codec->ReInitialize();
    }
    VRNLock send(m_SendMutex);
    m_pSendBuffer.reset();
    VRN_LOG(VRN_LOG_TRACE, "%s: :Exit");
    return 1;
}

int CTextTransportManager::SendText(char* text, unsigned int length) {
    const auto codec = Codec();
    if (codec == nullptr) {
        VRN_LOG(VRN_LOG_FAILURE, "%s:  T140 instance not created");
        return -1;
    }
    return codec->SendText(reinterpret_cast<unsigned char*>(text), length);
}

void CTextTransportManager::PacketizeAndSend(st_payloadinfo* info, bool isRed) {
    VRNLock send(m_SendMutex);
    int sent = -1;
    if (m_pSendBuffer != nullptr && m_pSendSocket != nullptr && info->nLen <= TRANSPORT_BUFFER_SIZE - RTP_HEADER_SIZE) {
        if (info->nLen > 0) {
            memcpy(m_pSendBuffer.get() + RTP_HEADER_SIZE, info->pData, info->nLen);
        }
        m_RtpSend.m_nPayloadType = static_cast<uint8_t>(isRed ? m_nRedPayloadType : m_nT140PayloadType);
        m_RtpSend.m_nMarker = info->bMarker;
        m_RtpSend.m_nTimestamp = info->nTimeStamp;
        m_RtpSend.m_pPacket = m_pSendBuffer.get();
        m_RtpSend.m_nPayloadLen = info->nLen;
        m_RTP.AttachHeader(&m_RtpSend);
        sent = m_pSendSocket->Sendto(m_RtpSend.m_pPacket, static_cast<int>(m_RtpSend.m_nPacketLen), m_RemoteRtpAddr);
    }
    if (sent < 1) {
        // Kept: a packet that was not sent leaves its number to the next one.
        VRN_LOG(VRN_LOG_TRACE, "%s: RTP Sendto failed");
        return;
    }
    ++m_RtpSend.m_nSeqNum;
    ++m_RtpSend.m_nPacketCount;
    m_RtpSend.m_nOctetCount += m_RtpSend.m_nPacketLen;
}
