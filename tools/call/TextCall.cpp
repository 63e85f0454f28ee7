#include "call/TextCall.h"

#include "call/EngineLog.h"

#include <atomic>
#include <cstring>

namespace {

// The engine marks loss with two bytes that no UTF-8 text has, and nothing behind them. A far end that sends the two gets
// them through as the start of a character of six bytes.
constexpr unsigned char LOSS_MARK[] = {0xFD, 0xFF, 0};

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
    const unsigned refusals = EngineRefusals();
    m_pEngine->VRN_StartFDSR(m_nChannel, settings.direction, 0);
    // A failed start returns success too; a started channel holds its ports, and the log has no failure.
    if (BindError(settings.local) == 0 || BindError(settings.local.Rtcp()) == 0) {
        return "the engine could not open its sockets (--log FILE has its reasons)";
    }
    if (EngineRefusals() != refusals) {
        return "the engine could not start in this direction (--log FILE has its reasons)";
    }
    m_Direction = settings.direction;
    m_RtcpTimeout = std::chrono::seconds(settings.rtcpTimeoutSeconds);
    if (settings.rtcp && !SwitchRtcp(true)) {
        return "the engine could not start RTCP (--log FILE has its reasons)";
    }
    return "";
}

bool TextCall::Type(std::string_view text) {
    std::string bytes(text);
    return m_pEngine->VRN_SendText(m_nChannel, bytes.data(), static_cast<unsigned>(bytes.size())) == 1;
}

bool TextCall::SwitchDirection(VRN_CHANNEL_STATUS direction) {
    const unsigned refusals = EngineRefusals();
    // A failed change returns success too, and leaves the direction as it was.
    if (m_pEngine->VRN_SetVEStatus(m_nChannel, direction) != 1 || EngineRefusals() != refusals) {
        return false;
    }
    m_Direction = direction;
    return true;
}

bool TextCall::SwitchRtcp(bool enabled) {
    if (m_pEngine->VRN_SetCallOptions(m_nChannel, enabled) != 1) {
        return false;
    }
    m_bRtcp = enabled;
    m_LastRtcp = std::chrono::steady_clock::now();
    m_bSilenceTold = false;
    return true;
}

void TextCall::WatchRtcp() {
    const uint32_t received = EnginePackets().Counts().rtcpReceived;
    const auto now = std::chrono::steady_clock::now();
    if (received != m_nRtcpReceived) {
        m_nRtcpReceived = received;
        m_LastRtcp = now;
        m_bSilenceTold = false;
    } else if (m_bRtcp && !m_bSilenceTold && m_RtcpTimeout.count() > 0 && now - m_LastRtcp > m_RtcpTimeout) {
        SwitchRtcp(false);
        SwitchRtcp(true);
        m_bSilenceTold = true;
    }
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
