// The way in: reading datagrams, filtering them, counting them, and queuing what they carry for playout.

#include "transport/CTextTransportManager.h"

#include "util/VRNLog.h"

namespace {

// A number this high followed by one this low counts as a wrap of the 16 bits; kept: far ends are judged by these.
constexpr uint32_t WRAP_FROM = 65501;
constexpr uint32_t WRAP_TO = 29;
constexpr uint32_t CYCLE_BITS = 0xFFFF;

// So many packets of a foreign SSRC in a row are dropped; the next packet's sender is taken over.
constexpr uint32_t SSRC_CHANGES_TO_ADOPT = 4;

} // namespace

int CTextTransportManager::ProcessRecvdRTP() {
    VRNRecursiveLock lock(m_Mutex);
    if (m_pRtpSocket == nullptr) {
        VRN_LOG(VRN_LOG_TRACE, "%s: Stop Transport done: pSocketInst is NULL");
        return 0;
    }
    if (!ReadPacket()) {
        return 0;
    }
    VRN_LOG(VRN_LOG_TRACE, "%s: RTT RX: Recvd PT:%d, Seq.no:%d, PrevSeqNum:%d, PrevExtSeqNum:%d, len:%d",
            m_RtpRecv.m_nPayloadType, m_RtpRecv.m_nSeqNum, m_nPrevSeqNum, m_nPrevExtSeqNum, m_RtpRecv.m_nPayloadLen);
    if (!IsAcceptedPayloadType()) {
        return 0;
    }
    // Too much waits already: as if lost on the way.
    if (m_nWaitingReceived + CTextDataBuffer::Cost(m_RtpRecv.m_nPayloadLen) > MAX_WAITING_RECEIVED) {
        return 0;
    }
    // Before the filters below, so that a packet they drop counts a wrap too; kept.
    ExtendSequenceNumber();
    if (m_RtpRecv.m_nExtSeqNum <= m_nPrevExtSeqNum && m_nPrevExtSeqNum != 0) {
        return 0;
    }
    if (m_nRemoteSSRC == 0 || m_nSsrcChanges == SSRC_CHANGES_TO_ADOPT) {
        m_nRemoteSSRC = m_RtpRecv.m_nSSRC;
        m_nSsrcChanges = 0;
    } else if (m_RtpRecv.m_nSSRC != m_nRemoteSSRC) {
        VRN_LOG(VRN_LOG_TRACE, "%s: Different SSRC received");
        ++m_nSsrcChanges;
        return 0;
    }
    CountPacket();
    QueuePacket();
    VRN_LOG(VRN_LOG_TRACE, "%s: :Exit");
    return 0;
}

// Reads one datagram into the receive record. False when there is none, or none that is long enough.
bool CTextTransportManager::ReadPacket() {
    if (m_pReceiveBuffer == nullptr) {
        return false;
    }
    const int received = m_pRtpSocket->RecvFrom(m_pReceiveBuffer.get(), TRANSPORT_BUFFER_SIZE);
    if (received < static_cast<int>(RTP_HEADER_SIZE)) {
        return false;
    }
    m_RtpRecv.m_nPacketLen = static_cast<uint32_t>(received);
    // Kept: a packet of another version goes on with the fields of the one before it. Its payload is its own.
    m_RTP.ParseHeader(&m_RtpRecv, m_pReceiveBuffer.get());
    m_RtpRecv.m_pPayload = m_pReceiveBuffer.get() + RTP_HEADER_SIZE;
    m_RtpRecv.m_nPayloadLen = m_RtpRecv.m_nPacketLen - RTP_HEADER_SIZE;
    return true;
}

bool CTextTransportManager::IsAcceptedPayloadType() {
    const uint32_t payloadType = m_RtpRecv.m_nPayloadType;
    return payloadType == m_nRecvT140PayloadType || payloadType == m_nRecvRedPayloadType;
}

// RFC 3550, A.1, with a wrap rule of its own.
void CTextTransportManager::ExtendSequenceNumber() {
    VRN_RTPStruct_st& record = m_RtpRecv;
    const uint16_t seq = record.m_nSeqNum;
    if (record.m_nPacketCount == 0) {
        record.m_nCycles = 0;
        record.m_nBaseSeqNum = seq;
        record.m_nExtSeqNum = seq;
        record.m_nMaxExtSeqNum = seq;
        return;
    }
    if (m_nPrevSeqNum >= WRAP_FROM && seq <= WRAP_TO) {
        record.m_nCycles = (record.m_nCycles + 1) & CYCLE_BITS;
    }
    record.m_nExtSeqNum = record.m_nCycles << 16 | seq;
    if (record.m_nExtSeqNum > record.m_nMaxExtSeqNum) {
        record.m_nMaxExtSeqNum = record.m_nExtSeqNum;
    }
}

// The octet count grows by the header alone; kept.
void CTextTransportManager::CountPacket() {
    if (m_RtpRecv.m_nExtSeqNum > m_RtpRecv.m_nMaxExtSeqNum) {
        m_RtpRecv.m_nMaxExtSeqNum = m_RtpRecv.m_nExtSeqNum;
    }
    ++m_RtpRecv.m_nPacketCount;
    m_RtpRecv.m_nOctetCount += RTP_HEADER_SIZE;
    m_RtpRecv.m_bNewData = 1;
    m_nSsrcChanges = 0;
}

void CTextTransportManager::QueuePacket() {
    CTextDataBuffer* packet = new CTextDataBuffer(m_RtpRecv.m_pPayload, m_RtpRecv.m_nPayloadLen, &m_nWaitingReceived);
    packet->m_nExtSeqNum = m_RtpRecv.m_nExtSeqNum;
    packet->m_nSSRC = m_RtpRecv.m_nSSRC;
    packet->m_nPayloadType = m_RtpRecv.m_nPayloadType;
    packet->m_bIsRedundant = packet->m_nPayloadType == m_nRecvRedPayloadType;
    m_bMayHaveText = true;
    if (packet->m_nExtSeqNum > m_nPrevExtSeqNum) {
        m_pReceivedList->AddNode(packet, nullptr, VRN_LIST_NODE);
        m_nPrevSeqNum = m_RtpRecv.m_nSeqNum;
        m_nPrevExtSeqNum = packet->m_nExtSeqNum;
        return;
    }
    // Only before any number above 0 was appended. Without a place in the order it goes to the tail; kept.
    Node<CTextDataBuffer*>* after = m_pReceivedList->TailNode();
    while (after != nullptr &&
           m_pReceivedList->ReadNodeData(after, VRN_LIST_NODE)->m_nExtSeqNum > packet->m_nExtSeqNum) {
        after = after->m_pPrev;
    }
    m_pReceivedList->AddNode(packet, after, VRN_LIST_NODE);
}

int CTextTransportManager::ProcessRecvdRTCP() {
    VRNRecursiveLock lock(m_Mutex);
    if (m_pRtcpSocket != nullptr && m_RtcpRecv.m_pBuffer != nullptr &&
        m_pRtcpSocket->RecvFrom(m_RtcpRecv.m_pBuffer, RTCP_BUFFER_SIZE) >= 1) {
        m_RTCP.ParseRtcpPacket(&m_RtcpRecv, m_RtcpRecv.m_pBuffer);
    }
    return 0;
}

int CTextTransportManager::GetTextForDisp(unsigned char* buffer, unsigned int size) {
    VRNRecursiveLock lock(m_Mutex);
    T140Codec* const codec = CodecInUse();
    if (codec == nullptr) {
        VRN_LOG(VRN_LOG_FAILURE, "%s:  T140 instance not created");
        return 0;
    }
    const int length = codec->GetText(buffer, static_cast<unsigned short>(size));
    m_bMayHaveText = length != 0 || m_pReceivedList->HeadNode() != nullptr;
    return length;
}
