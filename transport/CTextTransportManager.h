// The transport of one channel: its RTP and RTCP sockets, its codec, its RTCP reports and time-out, and the way of each
// packet in and out.
#ifndef TRANSPORT_CTEXT_TRANSPORT_MANAGER_H
#define TRANSPORT_CTEXT_TRANSPORT_MANAGER_H

#include "api/CorvaneTextEngineClient.h"
#include "codec/T140Codec.h"
#include "net/CSocket.h"
#include "transport/CRTCP.h"
#include "transport/CRTP.h"
#include "util/VRNMutex.h"
#include "util/VRNTimer.h"

#include <atomic>
#include <cstdint>
#include <memory>

class NetworkRecv;

constexpr uint32_t TRANSPORT_BUFFER_SIZE = 1412;        // the largest datagram sent or received
constexpr uint32_t MAX_WAITING_RECEIVED = 1024 * 1024;  // received and not yet played, bytes of memory
constexpr unsigned long RTCP_REPORT_INTERVAL_MS = 2000; // between two reports

// Held by its session by value. Thread-safe. Three locks:
//   m_Mutex          recursive: receiving, playout, RTCP, starting and stopping; reserved for the thread that calls
//                    the host's event 2, from inside which the host may come back;
//   m_SendMutex      what sending a packet needs, so that a send tick never waits for m_Mutex;
//   m_SettingsMutex  the addresses, so that a setter waits for nobody.
class CTextTransportManager {
public:
    CTextTransportManager();
    // Waits for timer callbacks under way, the calling thread's own apart.
    virtual ~CTextTransportManager();
    CTextTransportManager(const CTextTransportManager&) = delete;
    CTextTransportManager& operator=(const CTextTransportManager&) = delete;

    // Setters. Addresses, network id, redundancy level and block payload type hold from the next start; the rest from
    // now on.
    void SetNetworkRecvInstance(NetworkRecv* receiver) { m_pNetworkRecv = receiver; }
    void SetSessionParams(unsigned int sessionId, VRNEventHandler handler);
    void SetSendCodec(stVRN_CodecInfo* codec);
    void SetSendConnection(char const* ip, unsigned short port);
    void SetRecvConnection(char const* ip, unsigned short port);
    void SetNetID(int netId);
    int SetRtcpBandwidth(int first, int second);
    int SetRtcpTimeout(short seconds);
    int SetDirection(VRN_CHANNEL_STATUS direction);

    // Opens and binds the sockets, chooses the SSRC, and builds codec, RTCP state and timers. What an earlier start
    // built is stopped first. 1, or -1 when a socket could not be created; what was built stays until StopTransport.
    int StartTransport();

    // Ends RTCP, closes the sockets, ends the codec and frees everything; safe in any state. 1.
    int StopTransport();

    // True while StartTransport has built anything that StopTransport has not taken down.
    bool IsBuilt();

    // Each 1. StartReceive is -1 when the transport is not started or the socket cannot be watched.
    int StartSend();
    int StopSend();
    int StartReceive();
    int StopReceive();

    // Switches reports and the time-out on or off; 1 also when it is so already. -1: switching on a transport not
    // started, or a timer failure, which undoes nothing.
    int SetRtcpEnable(bool enable);

    // Hands typed text to the codec. The codec's result; -1 without a codec.
    int SendText(char* text, unsigned int length);

    // Sends one payload of the codec's as an RTP packet. Called with the codec's lock held.
    void PacketizeAndSend(st_payloadinfo* info, bool isRed);

    // Take one waiting datagram of the socket, if there is one. 0.
    int ProcessRecvdRTP();
    int ProcessRecvdRTCP();

    // False once GetTextForDisp has found nothing and will find nothing until a packet comes or the transport is stopped.
    bool MayHaveText() const { return m_bMayHaveText; }

    // The codec's GetText; 0 without a codec.
    int GetTextForDisp(unsigned char* buffer, unsigned int size);

    // What the timers call.
    void GenerateAndSendRTCPReport();
    void OnRTCPTimerExpiration();

private:
    struct Settings {
        uint32_t m_nRemoteRtpPort = 0;
        uint32_t m_nLocalRtpPort = 0;
        uint32_t m_nRemoteRtcpPort = 0; // the RTP port + 1
        uint32_t m_nLocalRtcpPort = 0;  // the RTP port + 1
        int32_t m_nNetId = -1;
        char m_RemoteIP[65] = {};
        char m_LocalIP[65] = {};
    };

    // Starting and stopping (CTextTransportManager.cpp).
    int Build();
    Settings CurrentSettings();
    std::shared_ptr<T140Codec> Codec();
    // While m_Mutex is held the codec stays: it comes and goes with both locks held.
    T140Codec* CodecInUse() VRN_REQUIRES(m_Mutex) VRN_NO_THREAD_SAFETY_ANALYSIS { return m_pCodec.get(); }
    void CreateCodec() VRN_REQUIRES(m_Mutex);
    void ResetSendRecord() VRN_REQUIRES(m_Mutex);
    void SetRemoteAddresses(Settings& settings) VRN_REQUIRES(m_Mutex);
    std::shared_ptr<T140Codec> DetachSender() VRN_REQUIRES(m_Mutex);
    void ReleaseFromReceiver() VRN_REQUIRES(m_Mutex);
    void Unwatch(CSocket* socket) VRN_REQUIRES(m_Mutex);
    void EmptyReceivedList() VRN_REQUIRES(m_Mutex);
    void DeleteTimers() VRN_REQUIRES(m_Mutex);

    // RTCP (CTextTransportManagerRtcp.cpp).
    int InitRTCP() VRN_REQUIRES(m_Mutex);
    void DeInitRTCP() VRN_REQUIRES(m_Mutex);
    int StartReportTimer() VRN_REQUIRES(m_Mutex);
    int StopReportTimer() VRN_REQUIRES(m_Mutex);
    int StartRTCPTimeoutTimer(short elapsedMs) VRN_REQUIRES(m_Mutex);
    int StopRTCPTimeoutTimer() VRN_REQUIRES(m_Mutex);
    bool RegisterRtcpSocket() VRN_REQUIRES(m_Mutex);
    uint32_t BuildReport() VRN_REQUIRES(m_Mutex);
    bool IsSilent(bool reserve);
    static bool TakeEventTurn() VRN_TRY_ACQUIRE(true, s_EventTurn);

    // Receiving (CTextTransportManagerReceive.cpp).
    bool ReadPacket() VRN_REQUIRES(m_Mutex);
    bool IsAcceptedPayloadType() VRN_REQUIRES(m_Mutex);
    void ExtendSequenceNumber() VRN_REQUIRES(m_Mutex);
    void CountPacket() VRN_REQUIRES(m_Mutex);
    void QueuePacket() VRN_REQUIRES(m_Mutex);

    // Settings; each read where it is used.
    std::atomic<uint32_t> m_nSessionId{0};
    std::atomic<uint32_t> m_nT140PayloadType{0};
    std::atomic<uint32_t> m_nRecvT140PayloadType{0};
    std::atomic<uint32_t> m_nRedPayloadType{0};
    std::atomic<uint32_t> m_nRecvRedPayloadType{0};
    std::atomic<uint32_t> m_nRedundancyLevel{0};
    std::atomic<int32_t> m_nRtcpBandwidth[2] = {};
    std::atomic<int16_t> m_nRtcpTimeout{0}; // seconds
    std::atomic<VRN_CHANNEL_STATUS> m_eDirection{VRN_CHANNEL_INACTIVE};
    std::atomic<VRNEventHandler> m_pEventHandler{nullptr};
    std::atomic<NetworkRecv*> m_pNetworkRecv{nullptr};
    VRNMutex m_SettingsMutex;
    Settings m_Settings VRN_GUARDED_BY(m_SettingsMutex);

    VRNRecursiveMutex m_Mutex;
    bool m_bStarted VRN_GUARDED_BY(m_Mutex) = false; // StartTransport went through
    bool m_bRtcpEnabled VRN_GUARDED_BY(m_Mutex) = false;
    std::unique_ptr<CSocket> m_pRtpSocket VRN_GUARDED_BY(m_Mutex);
    std::unique_ptr<CSocket> m_pRtcpSocket VRN_GUARDED_BY(m_Mutex);
    SockAddr m_LocalRtpAddr VRN_GUARDED_BY(m_Mutex) = {};
    SockAddr m_LocalRtcpAddr VRN_GUARDED_BY(m_Mutex) = {};
    SockAddr m_RemoteRtcpAddr VRN_GUARDED_BY(m_Mutex) = {};
    std::unique_ptr<VRNList<CTextDataBuffer*>> m_pReceivedList VRN_GUARDED_BY(m_Mutex); // the codec's m_pDecList
    std::unique_ptr<uint8_t[]> m_pReceiveBuffer VRN_GUARDED_BY(m_Mutex);                // while receiving
    VRN_RTPStruct_st m_RtpRecv VRN_GUARDED_BY(m_Mutex);
    VRN_RTCPStruct_st m_RtcpSend VRN_GUARDED_BY(m_Mutex);
    VRN_RTCPStruct_st m_RtcpRecv VRN_GUARDED_BY(m_Mutex);
    std::unique_ptr<uint8_t[]> m_pRtcpSendBuffer VRN_GUARDED_BY(m_Mutex);
    std::unique_ptr<uint8_t[]> m_pRtcpRecvBuffer VRN_GUARDED_BY(m_Mutex);
    HObject m_hReportTimer VRN_GUARDED_BY(m_Mutex) = VRN_NO_TIMER;
    HObject m_hTimeoutTimer VRN_GUARDED_BY(m_Mutex) = VRN_NO_TIMER;
    // The receive path's memory of the stream; no restart clears it.
    uint32_t m_nPrevSeqNum VRN_GUARDED_BY(m_Mutex) = 0;    // of the last packet appended in order
    uint32_t m_nPrevExtSeqNum VRN_GUARDED_BY(m_Mutex) = 0; // the same, extended
    uint32_t m_nSsrcChanges VRN_GUARDED_BY(m_Mutex) = 0;   // packets of a foreign SSRC in a row
    uint32_t m_nRemoteSSRC VRN_GUARDED_BY(m_Mutex) = 0;    // the accepted sender; 0 for none yet
    std::atomic<uint32_t> m_nWaitingReceived{0};           // what m_pReceivedList costs, bytes
    std::atomic<bool> m_bMayHaveText{true};                // written with m_Mutex held
    CRTP m_RTP;
    CRTCP m_RTCP;

    VRNMutex m_SendMutex;
    std::shared_ptr<T140Codec> m_pCodec VRN_GUARDED_BY(m_SendMutex);      // shared with calls of SendText under way
    CSocket* m_pSendSocket VRN_GUARDED_BY(m_SendMutex) = nullptr;         // the RTP socket while it is open for sending
    std::unique_ptr<uint8_t[]> m_pSendBuffer VRN_GUARDED_BY(m_SendMutex); // while sending
    VRN_RTPStruct_st m_RtpSend VRN_GUARDED_BY(m_SendMutex);
    SockAddr m_RemoteRtpAddr VRN_GUARDED_BY(m_SendMutex) = {};

    // Held during event 2: one at a time in the process, since its handler may work on channels whose own event 2 would
    // work on this one. Taken before any transport's m_Mutex. Never destroyed.
    static VRNMutex& s_EventTurn;
};

// The timers' entries: the value carries the transport.
void RTCPReportTimerCallbackFn(sigval value);
void RTCPTimeoutCallbackFn(sigval value);

#endif
