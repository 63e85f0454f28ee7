// The settings of a channel, handed on to its transport.

#include "control/CTextControlManager.h"

#include "control/CTextSessionManager.h"
#include "util/VRNLog.h"

int CTextControlManager::SetSendCodec(int channel, stVRN_CodecInfo* codec) {
    CSessionPin session(*this, channel, __PRETTY_FUNCTION__, EmptySlotLine::ChannelID);
    if (!session) {
        return -1;
    }
    if (codec == nullptr) {
        VRN_LOG(VRN_LOG_FAILURE, "%s: Invalid Session %d", channel);
        return -1;
    }
    session->Transport().SetSendCodec(codec);
    return 1;
}

int CTextControlManager::SetSendIPnPort(int channel, const char* ip, unsigned short port) {
    CSessionPin session(*this, channel, __PRETTY_FUNCTION__, EmptySlotLine::ChannelID, ip != nullptr);
    if (!session) {
        return -1;
    }
    session->Transport().SetSendConnection(ip, port);
    return 1;
}

int CTextControlManager::SetRecvIPnPort(int channel, const char* ip, unsigned short port) {
    CSessionPin session(*this, channel, __PRETTY_FUNCTION__, EmptySlotLine::ChannelID, ip != nullptr);
    if (!session) {
        return -1;
    }
    session->Transport().SetRecvConnection(ip, port);
    return 1;
}

int CTextControlManager::SetNetID(int channel, int netId) {
    CSessionPin session(*this, channel, __PRETTY_FUNCTION__, EmptySlotLine::ChannelID);
    if (!session) {
        return -1;
    }
    session->Transport().SetNetID(netId);
    return 1;
}

int CTextControlManager::SetRtcpOnCall(int channel, int first, int second) {
    CSessionPin session(*this, channel, __PRETTY_FUNCTION__, EmptySlotLine::ChannelID);
    return session ? session->Transport().SetRtcpBandwidth(first, second) : -1;
}

int CTextControlManager::SetRtcpTimeout(int channel, short seconds) {
    CSessionPin session(*this, channel, __PRETTY_FUNCTION__, EmptySlotLine::ChannelID);
    return session ? session->Transport().SetRtcpTimeout(seconds) : -1;
}

int CTextControlManager::SetRtcpCallOptions(int channel, bool rtcpEnabled) {
    CSessionPin session(*this, channel, __PRETTY_FUNCTION__, EmptySlotLine::ChannelID);
    return session ? session->Transport().SetRtcpEnable(rtcpEnabled) : -1;
}

void CTextControlManager::SetEventHandler(VRNEventHandler handler) {
    m_pEventHandler = handler;
}
