#include "api/CorvaneTextEngineClient.h"

#include "control/CTextControlManager.h"
#include "util/VRNLog.h"

namespace {

CorvaneTextEngineClient s_Client;

// Set once by VRN_Init; never deleted: engine threads may run while the process ends.
CTextControlManager* s_pManager = nullptr;

// The lowest bit of the byte behind a bool. A caller that is not C++ may pass any byte, and a compiler may take a bool
// to be 0 or 1 however it is copied, so the byte itself is read.
bool LowestBit(const volatile bool& value) {
    return (*reinterpret_cast<const volatile unsigned char*>(&value) & 1) != 0;
}

} // namespace

extern "C" CorvaneTextEngineClient* GetCorvaneTextEngineClient() {
    return &s_Client;
}

int CorvaneTextEngineClient::VRN_Init() {
    VRN_LOG(VRN_LOG_TRACE, "%s: Init.");
    if (s_pManager != nullptr) {
        VRN_LOG(VRN_LOG_FAILURE, "%s: %s: Already initialized. Terminate it first.", "VRN_Init");
        return -1;
    }
    s_pManager = new CTextControlManager;
    return 0;
}

int CorvaneTextEngineClient::VRN_CreateChannel() {
    return s_pManager->CreateChannel();
}

int CorvaneTextEngineClient::VRN_SetSendCodec(int channel, stVRN_CodecInfo* codec) {
    return s_pManager->SetSendCodec(channel, codec);
}

int CorvaneTextEngineClient::VRN_SetSendIPnPort(int channel, const char* ip, unsigned short port) {
    return s_pManager->SetSendIPnPort(channel, ip, port);
}

int CorvaneTextEngineClient::VRN_SetRecvIPnPort(int channel, const char* ip, unsigned short port) {
    return s_pManager->SetRecvIPnPort(channel, ip, port);
}

int CorvaneTextEngineClient::VRN_StartFDSR(int channel, int direction, int /*ignored*/) {
    return s_pManager->StartFDSR(channel, direction);
}

int CorvaneTextEngineClient::VRN_StopFDSR(int channel) {
    return s_pManager->StopFDSR(channel);
}

int CorvaneTextEngineClient::VRN_DeleteChannel(int channel) {
    return s_pManager->DeleteChannel(channel);
}

int CorvaneTextEngineClient::VRN_ReconfigIPPort(int channel) {
    return s_pManager->ReconfigIPPort(channel);
}

int CorvaneTextEngineClient::VRN_SetVEStatus(int channel, int direction) {
    return s_pManager->SetVEStatus(channel, direction);
}

int CorvaneTextEngineClient::VRN_SetNetId(int channel, int netId) {
    return s_pManager->SetNetID(channel, netId);
}

int CorvaneTextEngineClient::VRN_SetRtcpOnCall(int channel, int first, int second) {
    return s_pManager->SetRtcpOnCall(channel, first, second);
}

int CorvaneTextEngineClient::VRN_SetRtcpTimeout(int channel, short seconds) {
    return s_pManager->SetRtcpTimeout(channel, seconds);
}

int CorvaneTextEngineClient::VRN_SetCallOptions(int channel, bool rtcpEnabled) {
    return s_pManager->SetRtcpCallOptions(channel, LowestBit(rtcpEnabled));
}

int CorvaneTextEngineClient::VRN_SendText(int channel, char* text, unsigned int length) {
    return s_pManager->SendText(channel, text, length);
}

void CorvaneTextEngineClient::VRN_SetEventHandler(VRNEventHandler handler) {
    s_pManager->SetEventHandler(handler);
}

int CorvaneTextEngineClient::VRN_GetLastError() {
    return -1;
}
