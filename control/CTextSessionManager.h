// One channel: its direction and its transport.
#ifndef CONTROL_CTEXT_SESSION_MANAGER_H
#define CONTROL_CTEXT_SESSION_MANAGER_H

#include "transport/CTextTransportManager.h"

#include <atomic>

// Owned by the control manager. Takes no lock: the transport is thread-safe, the direction atomic, and the host does
// not switch one channel from two threads at once.
class CTextSessionManager {
public:
    // Starts the transport and its halves by direction, whatever the current one. *receiveStarted becomes 1 when
    // receiving began. 1, or -1 at the first failure, which undoes nothing and keeps the stored direction.
    int StartFDSR(int direction, int* receiveStarted);

    // Stops both halves and the transport. 1, or -1 at the first failure.
    int StopFDSR();

    // Changes the direction of a started channel. Results as StartFDSR.
    int SetVEStatus(int direction, int* receiveStarted);

    VRN_CHANNEL_STATUS GetDirection() const { return m_nDirection; }
    CTextTransportManager& Transport() { return m_Transport; }

private:
    std::atomic<VRN_CHANNEL_STATUS> m_nDirection{VRN_CHANNEL_INACTIVE};
    CTextTransportManager m_Transport;
};

#endif
