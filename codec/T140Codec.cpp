#include "codec/T140Codec.h"

#include "util/VRNLog.h"

T140Codec::T140Codec(CTextTransportManager* transport) : m_pTransport(transport) {}

T140Codec::~T140Codec() {
    m_pTransport = nullptr;
}

int T140Codec::Init(unsigned int redLevel, unsigned int pt, VRNList<CTextDataBuffer*>* decList) {
    VRNLock lock(m_Mutex);
    m_nRedLevel = static_cast<uint8_t>(redLevel);
    m_nRedCount = 0;
    m_nSkippedBlocks = 0;
    m_nPT = static_cast<uint8_t>(pt);
    m_pDecList = decList;
    m_nPrevExtSeqNum = 0;
    m_bIsIdlePeriod = 1;
    m_hSendTimer = VRN_NO_TIMER;
    m_nPlayPos = 0;
    m_nPlayLen = 0;
    m_nWaitingText = 0;
    m_pTextList = new VRNList<TextBuffer*>;
    m_pRedList = new VRNList<RedListData*>;
    m_pSendBuf = new uint8_t[SEND_BUFFER_SIZE];
    InitRedList();
    m_hSendTimer = VRNCreateTimer();
    VRN_LOG(VRN_LOG_TRACE, "%s: Exit: Redlevel:%d, PT:%d", redLevel, pt);
    return 0;
}

// The first packets then carry as many blocks as later ones, empty ones.
void T140Codec::InitRedList() {
    for (unsigned i = 0; i < m_nRedLevel; ++i) {
        RedListData* empty = new RedListData;
        empty->m_nPT = m_nPT;
        m_pRedList->AddNode(empty, nullptr, VRN_LIST_NODE);
    }
}

int T140Codec::Delnit() {
    VRNLock lock(m_Mutex);
    if (m_hSendTimer != VRN_NO_TIMER) {
        VRNCancelTimer(m_hSendTimer);
        VRNDeleteTimer(m_hSendTimer);
    }
    ResetBuf();
    m_bIsIdlePeriod = 1;
    m_nRedLevel = 0;
    m_nRedCount = 0;
    m_nPT = 0;
    m_pDecList = nullptr;
    m_nPrevExtSeqNum = 0;
    m_hSendTimer = VRN_NO_TIMER;
    delete m_pTextList;
    delete m_pRedList;
    delete[] m_pSendBuf;
    m_pTextList = nullptr;
    m_pRedList = nullptr;
    m_pSendBuf = nullptr;
    VRN_LOG(VRN_LOG_TRACE, "%s: :Exit");
    return 0;
}

void T140Codec::ResetBuf() {
    if (!IsOpen()) {
        return;
    }
    for (Node<TextBuffer*>* head = m_pTextList->HeadNode(); head != nullptr; head = m_pTextList->HeadNode()) {
        delete head->m_Data;
        m_pTextList->DeleteNode(nullptr, VRN_LIST_HEAD);
    }
    m_nWaitingText = 0;
    for (Node<RedListData*>* head = m_pRedList->HeadNode(); head != nullptr; head = m_pRedList->HeadNode()) {
        delete[] head->m_Data->m_pData;
        delete head->m_Data;
        m_pRedList->DeleteNode(nullptr, VRN_LIST_HEAD);
    }
}

int T140Codec::ReInitialize() {
    VRNLock lock(m_Mutex);
    if (m_hSendTimer != VRN_NO_TIMER) {
        VRNCancelTimer(m_hSendTimer);
    }
    m_bIsIdlePeriod = 1;
    ResetBuf();
    VRN_LOG(VRN_LOG_TRACE, "%s: :Done");
    return 0;
}

unsigned int T140Codec::GetLastPlayedSeqNum() {
    VRNLock lock(m_Mutex);
    return m_nPrevExtSeqNum;
}

void T140Codec::ResetLastPlayedSeqNum() {
    VRNLock lock(m_Mutex);
    m_nPrevExtSeqNum = 0;
}
