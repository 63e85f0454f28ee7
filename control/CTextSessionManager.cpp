#include "control/CTextSessionManager.h"

#include "util/VRNLog.h"

namespace {
bool Sends(int direction) {
    return (direction & VRN_CHANNEL_SENDONLY) != 0;
}
bool Receives(int direction) {
    return (direction & VRN_CHANNEL_RECVONLY) != 0;
}
} // namespace

int CTextSessionManager::StartFDSR(int direction, int* receiveStarted) {
    if (m_Transport.StartTransport() < 0) {
        VRN_LOG(VRN_LOG_FAILURE, "%s: Start Transport failed");
        return -1;
    }
    if (Sends(direction) && m_Transport.StartSend() != 1) {
        VRN_LOG(VRN_LOG_FAILURE, "%s: StartSend fail");
        return -1;
    }
    if (Receives(direction)) {
        if (m_Transport.StartReceive() != 1) {
            VRN_LOG(VRN_LOG_FAILURE, "%s: StartReceive fail");
            return -1;
        }
        *receiveStarted = 1;
    }
    m_nDirection = static_cast<VRN_CHANNEL_STATUS>(direction);
    VRN_LOG(VRN_LOG_TRACE, "%s: Direction:%d", direction);
    m_Transport.SetDirection(static_cast<VRN_CHANNEL_STATUS>(direction));
    return 1;
}

int CTextSessionManager::StopFDSR() {
    const int direction = m_nDirection;
    if (direction == VRN_CHANNEL_INACTIVE) {
        VRN_LOG(VRN_LOG_FAILURE, "%s: Not Started");
    }
    if (Sends(direction) && m_Transport.StopSend() != 1) {
        VRN_LOG(VRN_LOG_FAILURE, "%s: StopSendOnly() error");
        return -1;
    }
    if (Receives(direction) && m_Transport.StopReceive() != 1) {
        VRN_LOG(VRN_LOG_FAILURE, "%s: StopReceive() error");
        return -1;
    }
    m_Transport.StopTransport();
    m_nDirection = VRN_CHANNEL_INACTIVE;
    m_Transport.SetDirection(VRN_CHANNEL_INACTIVE);
    return 1;
}

// Three rules, each on the old direction. Kept: from both to one, the half that goes on is started once more.
int CTextSessionManager::SetVEStatus(int direction, int* receiveStarted) {
    const int old = m_nDirection;
    VRN_LOG(VRN_LOG_TRACE, "%s: Cur Direction:%d New Direction:%d", old, direction);
    if (direction == old) {
        VRN_LOG(VRN_LOG_FAILURE, "%s: New direction is same");
        return 1;
    }
    const bool fromInactive = old == VRN_CHANNEL_INACTIVE;
    if (fromInactive && Sends(direction) && m_Transport.StartSend() != 1) {
        VRN_LOG(VRN_LOG_FAILURE, "%s: StartSend fail");
        return -1;
    }
    if (Sends(old) && !Sends(direction) && m_Transport.StopSend() != 1) {
        VRN_LOG(VRN_LOG_FAILURE, "%s: StopSend fail");
        return -1;
    }
    if ((fromInactive || Sends(old)) && Receives(direction)) {
        if (m_Transport.StartReceive() != 1) {
            VRN_LOG(VRN_LOG_FAILURE, "%s: StartRecv fail");
            return -1;
        }
        *receiveStarted = 1;
    }
    if (Receives(old) && !Receives(direction) && m_Transport.StopReceive() != 1) {
        VRN_LOG(VRN_LOG_FAILURE, "%s: StopRecv fail");
        return -1;
    }
    if (Receives(old) && Sends(direction) && m_Transport.StartSend() != 1) {
        VRN_LOG(VRN_LOG_FAILURE, "%s: StartSend fail");
        return -1;
    }
    m_nDirection = static_cast<VRN_CHANNEL_STATUS>(direction);
    m_Transport.SetDirection(static_cast<VRN_CHANNEL_STATUS>(direction));
    return 1;
}
