#include "call/TextCall.h"

#include <atomic>
#include <cstring>

namespace {

// The engine marks loss with these two bytes, which no UTF-8 text has.
constexpr unsigned char LOSS_MARK[] = {0xFD, 0xFF};

std::atomic<CallListener*> s_pListener{nullptr};

bool InitEngineOnce(CorvaneTextEngineClient& engine) {
    static const bool isReady = engine.VRN_Init() == 0;
    return isReady;
}

void DeliverText(CallListener& listener, const stVRN_DisplayText& display) {
    if (memcmp(display.pText, LOSS_MARK, sizeof(LOSS_MARK)) == 0) {
        listener.OnLoss(display.nLen);
        return;
    }
    listener.OnText({reinterpret_cast<const char*>(display.pText), static_cast<size_t>(display.nLen)});
}

// Empty when both ports are free.
std::string PortProblem(const Endpoint& local) {
    for (const Endpoint& endpoint : {local, local.Rtcp()}) {
        const int error = BindError(endpoint);
        if (error != 0) {
            return "cannot use " + endpoint.ToString() + ": " + strerror(error);
        }
    }
    return "";
}

} // namespace

TextCall::TextCall(CallListener& listener) : m_pEngine(GetCorvaneTextEngineClient()) {
    s_pListener = &listener;
}

TextCall::~TextCall() {
    End();
    s_pListener = nullptr;
}

void TextCall::OnEvent(int /*channel*/, int event, void* data) {
    CallListener* listener = s_pListener;
    if (listener == nullptr) {
        return;
    }
    if (event == VRN_EVENT_TEXT_RECEIVED) {
        DeliverText(*listener, *static_cast<const stVRN_DisplayText*>(data));
    } else if (event == VRN_EVENT_RTCP_TIMEOUT) {
        listener->OnRtcpTimeout();
    }
}

std::string TextCall::Start(const CallSettings& settings) {
    // The engine reports a port in use in its log alone, so it is looked for here, where it can be named.
    const std::string problem = PortProblem(settings.local);
    if (!problem.empty()) {
        return problem;
    }
    if (!InitEngineOnce(*m_pEngine)) {
        return "the engine cannot be initialised";
    }
    m_pEngine->VRN_SetEventHandler(&TextCall::OnEvent);
    m_nChannel = m_pEngine->VRN_CreateChannel();
    if (m_nChannel < 0 || !Configure(settings)) {
        return "the engine refuses a channel with these settings";
    }
    return StartMedia(settings);
}

bool TextCall::Configure(const CallSettings& settings) {
    stVRN_CodecInfo codec = {};
    codec.nRecvT140PayloadType = settings.t140PayloadType;
    codec.nSendT140PayloadType = settings.t140PayloadType;
    codec.nRecvRedPayloadType = settings.redPayloadType;
    codec.nSendRedPayloadType = settings.redPayloadType;
    codec.nRedundancyLevel = settings.redundancy;
    const Endpoint& local = settings.local;
    const Endpoint& remote = settings.remote;
    return m_pEngine->VRN_SetSendCodec(m_nChannel, &codec) == 1 &&
           m_pEngine->VRN_SetSendIPnPort(m_nChannel, remote.ip.c_str(), remote.port) == 1 &&
           m_pEngine->VRN_SetRecvIPnPort(m_nChannel, local.ip.c_str(), local.port) == 1 &&
           m_pEngine->VRN_SetNetId(m_nChannel, settings.netId) == 1 &&
           m_pEngine->VRN_SetRtcpTimeout(m_nChannel, static_cast<short>(settings.rtcpTimeoutSeconds)) == 1;
}

std::string TextCall::StartMedia(const CallSettings& settings) {
    m_pEngine->VRN_StartFDSR(m_nChannel, settings.direction, 0);
    // A failed start returns success too; a started channel holds its ports.
    if (BindError(settings.local) == 0 || BindError(settings.local.Rtcp()) == 0) {
        return "the engine could not open its sockets (--log FILE has its reasons)";
    }
    m_Direction = settings.direction;
    if (settings.rtcp && m_pEngine->VRN_SetCallOptions(m_nChannel, true) != 1) {
        return "the engine could not start RTCP (--log FILE has its reasons)";
    }
    return "";
}

bool TextCall::Type(std::string_view text) {
    std::string bytes(text);
    return m_pEngine->VRN_SendText(m_nChannel, bytes.data(), static_cast<unsigned>(bytes.size())) == 1;
}

void TextCall::End() {
    if (m_nChannel < 0) {
        return;
    }
    m_pEngine->VRN_StopFDSR(m_nChannel);
    m_pEngine->VRN_DeleteChannel(m_nChannel);
    m_nChannel = -1;
    m_Direction = VRN_CHANNEL_INACTIVE;
}
