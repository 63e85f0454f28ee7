// The engine's one container: a doubly linked list of pointers with a lock of its own. Positions are small codes, and
// the list never owns what its elements point to.
#ifndef UTIL_VRN_LIST_H
#define UTIL_VRN_LIST_H

#include "util/VRNLog.h"
#include "util/VRNMutex.h"
#include "util/VRNSpares.h"

#include <cstdint>

template <typename T> struct Node {
    Node<T>* m_pNext = nullptr; // towards the tail
    Node<T>* m_pPrev = nullptr; // towards the head
    T m_Data = nullptr;
};

// The `pos` argument of the operations.
constexpr int VRN_LIST_HEAD = 0; // AddNode: before the reference node, or before the head
constexpr int VRN_LIST_NODE = 1; // AddNode: after the reference node, or after the tail
constexpr int VRN_LIST_TAIL = 2; // not for AddNode

// Thread-safe: each operation holds the list's lock for its whole run, its log lines included. What must be atomic over
// several operations needs a lock of the owner's around them. The owner empties the list before it deletes it.
template <typename T> class VRNList {
public:
    // Inserts an element; always 1. On an empty list every `pos` does. Any other `pos` than 0 and 1 on a list with
    // elements inserts nothing and still counts; kept: the count is part of what the list promises.
    int AddNode(T& data, Node<T>* ref, int pos);

    // Removes a node of this list, not its element. 1, or -1 when there is none or for an unknown `pos`.
    int DeleteNode(Node<T>* node, int pos);

    // The element at a place, or null when there is none or for an unknown `pos`.
    T ReadNodeData(Node<T>* node, int pos);

    // What owners that walk the list under a lock of their own read.
    int Count() VRN_EXCLUDES(m_Mutex) {
        VRNLock lock(m_Mutex);
        return m_nCount;
    }
    Node<T>* HeadNode() VRN_EXCLUDES(m_Mutex) {
        VRNLock lock(m_Mutex);
        return m_pHeadNode;
    }
    Node<T>* TailNode() VRN_EXCLUDES(m_Mutex) {
        VRNLock lock(m_Mutex);
        return m_pTailNode;
    }

private:
    void AddNodeBefore(Node<T>* ref, Node<T>* newNode) VRN_REQUIRES(m_Mutex);
    void AddNodeAfter(Node<T>* ref, Node<T>* newNode) VRN_REQUIRES(m_Mutex);
    int DeleteHeadNode() VRN_REQUIRES(m_Mutex);
    int DeleteTailNode() VRN_REQUIRES(m_Mutex);
    int DeleteGivenNode(Node<T>* node) VRN_REQUIRES(m_Mutex);
    void DeleteNodeData(Node<T>* node) VRN_REQUIRES(m_Mutex);

    int32_t m_nCount VRN_GUARDED_BY(m_Mutex) = 0;
    Node<T>* m_pHeadNode VRN_GUARDED_BY(m_Mutex) = nullptr;
    Node<T>* m_pTailNode VRN_GUARDED_BY(m_Mutex) = nullptr;
    VRNSpares<Node<T>> m_Spares VRN_GUARDED_BY(m_Mutex);
    VRNMutex m_Mutex;
};

template <typename T> int VRNList<T>::AddNode(T& data, Node<T>* ref, int pos) {
    VRNLock lock(m_Mutex);
    Node<T>* node = m_Spares.Take();
    node->m_Data = data;
    VRN_LOG(VRN_LOG_TRACE, "%s: Current Count:%d, New Node:0x%x, Insert pos:%d", m_nCount, VRNLogAddress(node), pos);
    if (m_nCount != 0 && pos != VRN_LIST_NODE && pos != VRN_LIST_HEAD) {
        m_Spares.GiveBack(node);
    } else if (m_pHeadNode == nullptr) { // also when all that counts was never linked
        m_pHeadNode = node;
        m_pTailNode = node;
    } else if (pos == VRN_LIST_NODE) {
        AddNodeAfter(ref, node);
    } else {
        AddNodeBefore(ref, node);
    }
    ++m_nCount;
    return 1;
}

template <typename T> int VRNList<T>::DeleteNode(Node<T>* node, int pos) {
    VRNLock lock(m_Mutex);
    VRN_LOG(VRN_LOG_TRACE, "%s: Cur Node:0x%x: head node:0x%x, tail node:0x%x pos:%d", VRNLogAddress(node),
            VRNLogAddress(m_pHeadNode), VRNLogAddress(m_pTailNode), pos);
    int result = -1;
    if (pos == VRN_LIST_HEAD) {
        result = DeleteHeadNode();
    } else if (pos == VRN_LIST_TAIL) {
        result = DeleteTailNode();
    } else if (pos == VRN_LIST_NODE) {
        result = DeleteGivenNode(node);
    }
    if (result != 1) {
        return result;
    }
    --m_nCount;
    VRN_LOG(VRN_LOG_TRACE, "%s: Number of nodes after delete:%d", m_nCount);
    return 1;
}

template <typename T> T VRNList<T>::ReadNodeData(Node<T>* node, int pos) {
    VRNLock lock(m_Mutex);
    VRN_LOG(VRN_LOG_TRACE, "%s: Read Node:0x%x: Head Node: %0x: pos:%d", VRNLogAddress(node),
            VRNLogAddress(m_pHeadNode), pos);
    Node<T>* read = nullptr;
    if (pos == VRN_LIST_HEAD) {
        read = m_pHeadNode;
    } else if (pos == VRN_LIST_NODE) {
        read = node;
    } else if (pos == VRN_LIST_TAIL) {
        read = m_pTailNode;
    }
    return read == nullptr ? nullptr : read->m_Data;
}

template <typename T> void VRNList<T>::AddNodeBefore(Node<T>* ref, Node<T>* newNode) {
    if (ref == nullptr) {
        VRN_LOG(VRN_LOG_FAILURE, "%s: No reference given, Adding node in begining of list, HeadNode:0x%x",
                VRNLogAddress(m_pHeadNode));
        ref = m_pHeadNode;
    }
    newNode->m_pNext = ref;
    newNode->m_pPrev = ref->m_pPrev;
    if (ref == m_pHeadNode) {
        m_pHeadNode = newNode;
    } else {
        ref->m_pPrev->m_pNext = newNode;
    }
    ref->m_pPrev = newNode;
}

// Kept: every append to a list with elements logs this line as a failure, since appending is done without a reference.
template <typename T> void VRNList<T>::AddNodeAfter(Node<T>* ref, Node<T>* newNode) {
    if (ref == nullptr) {
        VRN_LOG(VRN_LOG_FAILURE, "%s: No reference given; Adding node in th end of list, TailNode:0x%x",
                VRNLogAddress(m_pTailNode));
        ref = m_pTailNode;
    }
    newNode->m_pNext = ref->m_pNext;
    newNode->m_pPrev = ref;
    if (ref == m_pTailNode) {
        m_pTailNode = newNode;
    } else {
        ref->m_pNext->m_pPrev = newNode;
    }
    ref->m_pNext = newNode;
}

template <typename T> int VRNList<T>::DeleteHeadNode() {
    Node<T>* head = m_pHeadNode;
    if (head == nullptr) {
        VRN_LOG(VRN_LOG_FAILURE, "%s: m_pHeadNode is NULL; Delete failed");
        return -1;
    }
    if (head->m_pNext == nullptr) {
        m_pTailNode = nullptr;
        VRN_LOG(VRN_LOG_TRACE, "%s: m_pTailNode is set to NULL");
    } else {
        head->m_pNext->m_pPrev = nullptr;
    }
    m_pHeadNode = head->m_pNext;
    DeleteNodeData(head);
    return 1;
}

template <typename T> int VRNList<T>::DeleteTailNode() {
    Node<T>* tail = m_pTailNode;
    if (tail == nullptr) {
        VRN_LOG(VRN_LOG_FAILURE, "%s: m_pTailNode is NULL; Delete failed");
        return -1;
    }
    if (tail->m_pPrev == nullptr) {
        m_pHeadNode = nullptr;
    } else {
        tail->m_pPrev->m_pNext = nullptr;
    }
    m_pTailNode = tail->m_pPrev;
    DeleteNodeData(tail);
    VRN_LOG(VRN_LOG_TRACE, "%s: Delete Tail node success");
    return 1;
}

template <typename T> int VRNList<T>::DeleteGivenNode(Node<T>* node) {
    if (node == m_pHeadNode) {
        return DeleteHeadNode();
    }
    if (node == m_pTailNode) {
        return DeleteTailNode();
    }
    // Any other node of the list has both neighbours; one without them is in no list.
    if (node == nullptr || node->m_pPrev == nullptr || node->m_pNext == nullptr) {
        return -1;
    }
    node->m_pPrev->m_pNext = node->m_pNext;
    node->m_pNext->m_pPrev = node->m_pPrev;
    DeleteNodeData(node);
    return 1;
}

template <typename T> void VRNList<T>::DeleteNodeData(Node<T>* node) {
    *node = Node<T>();
    m_Spares.GiveBack(node);
    VRN_LOG(VRN_LOG_TRACE, "%s: Delete Node success");
}

#endif
