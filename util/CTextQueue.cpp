#include "util/CTextQueue.h"

#include "util/VRNLog.h"

CTextQueue::~CTextQueue() {
    DeInitQueue();
}

int CTextQueue::InitQueue(unsigned int size) {
    VRNLock lock(m_Mutex);
    m_pList = new VRNList<qnode*>;
    m_nQueueSize = size;
    m_bShutDown = false;
    return 0;
}

bool CTextQueue::PushDataToQueue(void* data) {
    {
        VRNLock lock(m_Mutex);
        if (m_pList == nullptr) {
            return false;
        }
        qnode* wrapper = m_Spares.Take();
        wrapper->m_pData = data;
        VRN_LOG(VRN_LOG_TRACE, "%s: Push Data adding..(%0x), (%0x), (%0x)", VRNLogAddress(wrapper),
                VRNLogAddress(wrapper->m_pData), VRNLogAddress(data));
        m_pList->AddNode(wrapper, nullptr, VRN_LIST_NODE);
        m_Cond.Signal();
    }
    VRN_LOG(VRN_LOG_TRACE, "%s: Push Data Exit");
    return true;
}

void* CTextQueue::GetDataFromQueue() {
    VRN_LOG(VRN_LOG_TRACE, "%s: Get Data Entered");
    qnode* wrapper = nullptr;
    void* data = nullptr;
    {
        VRNLock lock(m_Mutex);
        while (m_pList != nullptr && m_pList->Count() == 0 && !m_bShutDown) {
            m_Cond.Wait(m_Mutex);
        }
        if (m_pList != nullptr) {
            wrapper = m_pList->ReadNodeData(nullptr, VRN_LIST_HEAD);
        }
        if (wrapper != nullptr) {
            data = wrapper->m_pData;
        }
    }
    if (wrapper == nullptr) {
        VRN_LOG(VRN_LOG_TRACE, "%s: Get data returned with error");
        return nullptr;
    }
    VRN_LOG(VRN_LOG_TRACE, "%s: Got Data (%0x), (%0x)", VRNLogAddress(wrapper), VRNLogAddress(data));
    return data;
}

void CTextQueue::DeleteQueueNode() {
    VRNLock lock(m_Mutex);
    if (m_pList == nullptr) {
        return;
    }
    Node<qnode*>* head = m_pList->HeadNode();
    if (head != nullptr) {
        m_Spares.GiveBack(head->m_Data);
    }
    m_pList->DeleteNode(nullptr, VRN_LIST_HEAD);
}

void CTextQueue::DeInit() {
    VRNLock lock(m_Mutex);
    m_bShutDown = true;
    m_Cond.Signal();
}

void CTextQueue::DeInitQueue(void (*freeItem)(void*)) {
    VRNLock lock(m_Mutex);
    if (m_pList == nullptr) {
        return;
    }
    for (Node<qnode*>* head = m_pList->HeadNode(); head != nullptr; head = m_pList->HeadNode()) {
        if (freeItem != nullptr) {
            freeItem(head->m_Data->m_pData);
        }
        delete head->m_Data;
        m_pList->DeleteNode(nullptr, VRN_LIST_HEAD);
    }
    delete m_pList;
    m_pList = nullptr;
}
