// The hand-off between the network receiver and the dispatch thread: first in, first out, and a wait while it is empty.
#ifndef UTIL_CTEXT_QUEUE_H
#define UTIL_CTEXT_QUEUE_H

#include "util/VRNList.h"
#include "util/VRNMutex.h"
#include "util/VRNSpares.h"

struct qnode {
    void* m_pData = nullptr; // the consumer's, once read
};

// Thread-safe for any number of producers and one consumer. Reading the oldest item and removing it are two calls, so
// that the consumer can work on it between them. Items belong to the producer until pushed and to the consumer from
// then on; the queue frees none of them. Locks: its own, then the list's.
class CTextQueue {
public:
    ~CTextQueue();

    // Opens the queue. `size` is stored and not consulted: the queue has no bound. Always 0.
    int InitQueue(unsigned int size);

    // Appends an item and wakes the consumer. False while the queue is not open: the item stays the producer's.
    bool PushDataToQueue(void* data);

    // The oldest item, which stays queued; waits while there is none. Null once the queue is shut down and empty, or
    // not open.
    void* GetDataFromQueue();

    // Removes the oldest item.
    void DeleteQueueNode();

    // Shuts the queue down: the consumer waits no more.
    void DeInit();

    // Closes the queue and drops what it still holds, each item through `freeItem` where one is given.
    void DeInitQueue(void (*freeItem)(void*) = nullptr);

private:
    VRNMutex m_Mutex;
    VRNCondition m_Cond; // an item was pushed, or the queue was shut down
    unsigned int m_nQueueSize VRN_GUARDED_BY(m_Mutex) = 0;
    bool m_bShutDown VRN_GUARDED_BY(m_Mutex) = false;
    VRNList<qnode*>* m_pList VRN_GUARDED_BY(m_Mutex) = nullptr; // null while the queue is not open
    VRNSpares<qnode> m_Spares VRN_GUARDED_BY(m_Mutex);
};

#endif
