// One text call made with libVRN. All that vrn-call knows of the engine is in here; what is shown, and how, is not.
#ifndef TOOLS_CALL_TEXT_CALL_H
#define TOOLS_CALL_TEXT_CALL_H

#include "common/Endpoint.h"

#include <CorvaneTextEngineClient.h>
#include <chrono>
#include <string>
#include <string_view>

struct CallSettings {
    Endpoint local;
    Endpoint remote;
    VRN_CHANNEL_STATUS direction = VRN_CHANNEL_SENDRECV;
    unsigned redundancy = 2;
    unsigned t140PayloadType = 98;
    unsigned redPayloadType = 100;
    bool rtcp = true;
    unsigned rtcpTimeoutSeconds = 10; // 0 to 32767
    int netId = 0;                    // 0: no network in particular
};

// Hears of the call on the engine's threads, two of them at the same time at worst. Returns quickly.
class CallListener {
public:
    virtual ~CallListener() = default;
    // One character of the far end's text, UTF-8.
    virtual void OnText(std::string_view character) = 0;
    // So many packets, and what was typed in them, are lost for good.
    virtual void OnLoss(int packets) = 0;
    // The far end's RTCP has stopped.
    virtual void OnRtcpTimeout() = 0;
};

// Confined to one thread, and one at a time in a process: the engine's handler takes no argument of the host's own.
class TextCall {
public:
    explicit TextCall(CallListener& listener);
    ~TextCall(); // ends the call
    TextCall(const TextCall&) = delete;
    TextCall& operator=(const TextCall&) = delete;

    // Sets up a channel and starts it. Empty on success, else one line that says what failed.
    std::string Start(const CallSettings& settings);

    // Hands over typed text, whole characters, at most MAX_TYPED bytes. False when the engine refuses it.
    bool Type(std::string_view text);
    VRN_CHANNEL_STATUS Direction() const { return m_Direction; }
    bool CanType() const { return (m_Direction & VRN_CHANNEL_SENDONLY) != 0; }

    // Switches the direction of the started call. Sequence numbers start anew when sending starts anew, and a far end that
    // goes on from the last one it saw drops packets until they are above it.
    bool SwitchDirection(VRN_CHANNEL_STATUS direction);
    bool SwitchRtcp(bool enabled);
    // To be called twice a second or so. The engine looks for a silent far end only when RTCP is switched on: once none
    // has come for the time-out, this switches it off and on, and the listener hears of it. Counts by the engine's trace
    // lines.
    void WatchRtcp();

    // Stops and deletes the channel; the listener hears nothing more. Harmless when there is none.
    void End();

    // What fits into one RED packet of 500 bytes beside the headers of 15 empty earlier texts, as they are from idle.
    static constexpr size_t MAX_TYPED = 400;

private:
    static void OnEvent(int channel, int event, void* data);
    bool Configure(const CallSettings& settings);
    std::string StartMedia(const CallSettings& settings);

    CorvaneTextEngineClient* const m_pEngine;
    int m_nChannel = -1;
    VRN_CHANNEL_STATUS m_Direction = VRN_CHANNEL_INACTIVE;
    bool m_bRtcp = false;
    std::chrono::seconds m_RtcpTimeout{0}; // 0: none
    std::chrono::steady_clock::time_point m_LastRtcp;
    uint32_t m_nRtcpReceived = 0;
    bool m_bSilenceTold = false;
};

#endif
