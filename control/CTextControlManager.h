// The one object behind the facade: the table of up to three channels, their direction, and the engine-wide machinery
// (receiver, dispatch thread, feeder) that runs while there is a channel.
#ifndef CONTROL_CTEXT_CONTROL_MANAGER_H
#define CONTROL_CTEXT_CONTROL_MANAGER_H

#include "api/CorvaneTextEngineClient.h"
#include "control/CSessionPin.h"
#include "net/CTextSocketInfo.h"
#include "util/VRNMutex.h"

#include <atomic>
#include <cstdint>
#include <pthread.h>

class CTextFeeder;
class CTextQueue;
class CTextSessionManager;
class NetworkRecv;

constexpr int MAX_CHANNELS = 3;
constexpr uint32_t DISPLAY_BUFFER_SIZE = 100;
constexpr int NO_ACTIVE_CHANNEL = -1;

// Created by VRN_Init and never destroyed. Thread-safe, with the limits that the public header states for its
// operations; their results are those of the facade's methods. Two locks: m_TableMutex guards the channel table and is
// held while calling nobody; m_Mutex guards the dispatch queue's life, and is taken by the receiver with its own lock
// held.
class CTextControlManager {
public:
    CTextControlManager();
    ~CTextControlManager();
    CTextControlManager(const CTextControlManager&) = delete;
    CTextControlManager& operator=(const CTextControlManager&) = delete;

    // The channel table (CTextControlManager.cpp).
    int CreateChannel();
    int DeleteChannel(int channel);

    // Settings (CTextControlManagerSettings.cpp).
    int SetSendCodec(int channel, stVRN_CodecInfo* codec);
    int SetSendIPnPort(int channel, const char* ip, unsigned short port);
    int SetRecvIPnPort(int channel, const char* ip, unsigned short port);
    int SetNetID(int channel, int netId);
    int SetRtcpOnCall(int channel, int first, int second);
    int SetRtcpTimeout(int channel, short seconds);
    int SetRtcpCallOptions(int channel, bool rtcpEnabled);
    void SetEventHandler(VRNEventHandler handler);

    // Direction (CTextControlManagerDirection.cpp).
    int StartFDSR(int channel, int direction);
    int StopFDSR(int channel);
    int SetVEStatus(int channel, int direction);
    int ReconfigIPPort(int channel);

    // The ways of packets and text (CTextControlManagerDispatch.cpp).
    // Takes a report of a readable socket; called by the network receiver's thread.
    void OnReceive(CTextSocketInfo* info);
    // One step of the dispatch thread, which logs in its caller's name: waits for a report and works on it. False when the
    // thread is to end.
    bool DispatchNext(const char* caller);
    int SendText(int channel, char* text, unsigned int length);
    // Delivers one character of the active channel as event 1; called by the feeder's thread.
    void GetTextAndDisplay();

private:
    friend class CSessionPin;

    static bool IsChannelId(int channel) { return channel >= 0 && channel < MAX_CHANNELS; }

    CTextSessionManager* Pin(int channel);
    void Unpin(int channel);
    int ReserveSlot(bool* isFirst, int* channels);
    void Publish(int channel, CTextSessionManager* session, bool wasFirst);
    bool IsOnlyLiveChannel(int channel) VRN_REQUIRES(m_TableMutex);
    enum class Withdrawal { NoChannel, Refused, Done };
    Withdrawal Withdraw(int channel, CTextSessionManager** session, bool* isLast);
    void FreeSlot(int channel, bool wasLast);
    int NumSessions();
    void StartMachinery();
    void StopMachinery();

    void CreateRecvThread();
    void DestroyRecvThread();
    static void* TRecvThread(void* arg);
    CTextQueue* RecvQueue();
    void Dispatch(const CTextSocketInfo& info);

    VRNMutex m_TableMutex;
    VRNCondition m_TableChanged; // a pin or a channel is gone, or the machinery changed
    // A slot in use without a session is being created or, with m_bDeleting, being deleted.
    uint16_t m_nSessionInUse[MAX_CHANNELS] VRN_GUARDED_BY(m_TableMutex) = {};
    uint16_t m_nNumSessions VRN_GUARDED_BY(m_TableMutex) = 0;                        // slots in use
    CTextSessionManager* m_pSession[MAX_CHANNELS] VRN_GUARDED_BY(m_TableMutex) = {}; // owned; null while not usable
    bool m_bDeleting[MAX_CHANNELS] VRN_GUARDED_BY(m_TableMutex) = {};
    unsigned m_nPins[MAX_CHANNELS] VRN_GUARDED_BY(m_TableMutex) = {};
    // The machinery starts with a first or stops with a last channel. The thread that set this owns the machinery's
    // members below until it clears it; others only read them, after they saw the table.
    bool m_bMachineryChanging VRN_GUARDED_BY(m_TableMutex) = false;

    // What most steps of the feeder look at, side by side.
    std::atomic<int32_t> m_nActiveChannel{NO_ACTIVE_CHANNEL}; // the last on which receiving was started
    // Counts what may bring something to show or to tell: pins gone, channels published. Written with m_TableMutex held.
    std::atomic<uint64_t> m_nChanges{1};
    uint64_t m_nChangesWhenEmpty = 0; // the feeder's own: m_nChanges after a step that found nothing; 0 for never

    std::atomic<VRNEventHandler> m_pEventHandler{nullptr};

    // The machinery.
    NetworkRecv* m_pNetworkRecv = nullptr;
    CTextFeeder* m_pFeeder = nullptr;
    pthread_t m_RecvThread;
    bool m_bRecvThreadCreated = false;
    std::atomic<bool> m_bRecvThreadRunning{false};

    VRNMutex m_Mutex;
    CTextQueue* m_pRecvQueue VRN_GUARDED_BY(m_Mutex) = nullptr; // owned; null while there is no dispatch thread

    // The feeder thread's own.
    stVRN_DisplayText m_DispText = {};
    unsigned char m_DispBuf[DISPLAY_BUFFER_SIZE] = {};
};

#endif
