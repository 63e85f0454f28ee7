#include "control/CSessionPin.h"

#include "control/CTextControlManager.h"
#include "util/VRNLog.h"

namespace {
constexpr int NO_CHANNEL = -1;
} // namespace

CSessionPin::CSessionPin(CTextControlManager& manager, int channel)
    : m_Manager(manager), m_nChannel(channel), m_pSession(manager.Pin(channel)) {}

CSessionPin::CSessionPin(CTextControlManager& manager, int channel, const char* caller, EmptySlotLine line,
                         bool usableArguments)
    : CSessionPin(manager, usableArguments ? channel : NO_CHANNEL) {
    if (!usableArguments || !CTextControlManager::IsChannelId(channel)) {
        VRN_LOG_FOR(caller, VRN_LOG_FAILURE, "%s: Invalid Session %d", channel);
    } else if (m_pSession == nullptr && line == EmptySlotLine::Session) {
        VRN_LOG_FOR(caller, VRN_LOG_FAILURE, "%s: Session not created - Session %d", channel);
    } else if (m_pSession == nullptr) {
        VRN_LOG_FOR(caller, VRN_LOG_FAILURE, "%s: Session not created - channelID %d", channel);
    }
}

CSessionPin::~CSessionPin() {
    if (m_pSession != nullptr) {
        m_Manager.Unpin(m_nChannel);
    }
}
