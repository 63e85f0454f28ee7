// The T.140 text codec of one channel (RFC 4103). Sending: typed text waits for a 300 ms tick and goes out with earlier
// generations of text as RED blocks. Receiving: lost packets are restored from those generations, and text comes out
// one character at a time.
#ifndef CODEC_T140_CODEC_H
#define CODEC_T140_CODEC_H

#include "codec/CTextDataBuffer.h"
#include "codec/RedPayload.h"
#include "util/VRNList.h"
#include "util/VRNMutex.h"
#include "util/VRNSpares.h"
#include "util/VRNTimer.h"

#include <atomic>
#include <cstdint>

class CTextTransportManager;

constexpr uint32_t TEXT_BUFFER_CAPACITY = 52;    // typed text in one waiting record, bytes
constexpr uint32_t SEND_BUFFER_SIZE = 1400;      // what a datagram of 1412 bytes leaves behind its header
constexpr uint32_t PLAY_BUFFER_SIZE = 1400;      // the longest payload a receive buffer of 1412 bytes can yield
constexpr uint32_t MAX_PAYLOAD = 500;            // bytes of a RED payload, and of text gathered for a tick
constexpr uint32_t MAX_WAITING_TEXT = 64 * 1024; // bytes typed ahead of the ticks
constexpr unsigned long SEND_INTERVAL_MS = 300;  // RFC 4103, 5: the buffering time
constexpr uint32_t LOSS_WAIT_MS = 1000;          // how long a gap that redundancy cannot fill is waited for
constexpr uint16_t LOSS_MARK = 0xFFFD;           // U+FFFD as a 16-bit value, in the machine's byte order

// Typed text waiting for a tick.
struct TextBuffer {
    uint32_t m_nLength = 0;
    uint8_t m_Data[TEXT_BUFFER_CAPACITY];
};

// A payload already sent: a generation that later packets repeat.
struct RedListData {
    uint32_t m_nTimestamp = 0; // as it was sent; 0 for an entry that Init made
    uint16_t m_nLength = 0;
    uint16_t m_nPT = 0;
    uint8_t* m_pData = nullptr; // owned; null when the length is 0
};

// One payload on its way to the transport.
struct st_payloadinfo {
    uint8_t* pData;      // not owned; null for an empty payload
    uint8_t bMarker;     // RTP marker bit: 1 for the text sent at once after an idle period (RFC 4103, 4)
    uint32_t nLen;       // bytes
    uint32_t nTimeStamp; // the tick count when the payload was formed: the RTP timestamp
};

// Owned by the transport. Thread-safe: m_Mutex guards all of it. Sending calls up into the transport with m_Mutex held,
// which takes the transport's send lock and no other.
class T140Codec {
public:
    explicit T140Codec(CTextTransportManager* transport);
    // Delnit has run.
    ~T140Codec();
    T140Codec(const T140Codec&) = delete;
    T140Codec& operator=(const T140Codec&) = delete;

    // Makes the codec ready; the redundancy level and the payload type count with their low 8 bits. The received list
    // stays the caller's. 0.
    int Init(unsigned int redLevel, unsigned int pt, VRNList<CTextDataBuffer*>* decList);

    // Ends the codec: no tick does anything from here on, though one may still be waiting for m_Mutex. 0.
    int Delnit();

    // Stops sending: no tick, no waiting text, no generations. Packets after it carry only as many generations as were
    // sent since; kept. 0.
    int ReInitialize();

    // The extended sequence number last played; 0 for none yet.
    unsigned int GetLastPlayedSeqNum();
    void ResetLastPlayedSeqNum();

    // Typed text: sent at once from idle, else with the next tick. 1; -1: null or empty, too long for any buffer, too
    // much waiting, no codec any more, or no timer (the text was sent then).
    int SendText(unsigned char* text, unsigned int len);

    // One send tick. 0.
    int SendTimerCallback();

    // One character of received text, or the loss mark. The bytes of the character (1 to 6); 0 when nothing is ready
    // or outSize is 1; after loss the number of packets lost, with FD FF in the buffer. Nothing is written past outSize,
    // which the result may exceed.
    int GetText(unsigned char* out, unsigned short outSize);

    // The bytes of the character that starts with *lead, 1 to 6; 0 for null.
    static int getUTF8FrameSize(unsigned char* lead);

    // Copies `len` bytes of `src`; returns len, or 0 for null.
    int CopyTextData(unsigned char* dst, unsigned short len, unsigned char* src);

private:
    // Appends an empty generation for each redundancy level.
    void InitRedList() VRN_REQUIRES(m_Mutex);
    // Drops waiting text and generations.
    void ResetBuf() VRN_REQUIRES(m_Mutex);

    // Sending (T140CodecSend.cpp).
    bool IsOpen() const VRN_REQUIRES(m_Mutex) { return m_pTextList != nullptr; }
    int EnqueueText(const unsigned char* text, unsigned int len) VRN_REQUIRES(m_Mutex);
    uint32_t GatherBudget() VRN_REQUIRES(m_Mutex);
    uint32_t GatherText(uint8_t* gathered, uint32_t budget) VRN_REQUIRES(m_Mutex);
    uint32_t TakeWaitingText(uint8_t* gathered, uint32_t length) VRN_REQUIRES(m_Mutex);
    void SendPayload(st_payloadinfo* info) VRN_REQUIRES(m_Mutex);
    int SendEmptyPacket() VRN_REQUIRES(m_Mutex);
    int AddRedundancy(st_payloadinfo* info, bool* bIsRedAdded) VRN_REQUIRES(m_Mutex);
    void UpdateRedundancyList(st_payloadinfo* info, Node<RedListData*>* head) VRN_REQUIRES(m_Mutex);
    uint32_t RedundancyBytes() VRN_REQUIRES(m_Mutex);

    // Receiving (T140CodecReceive.cpp).
    bool DropUnplayable(CTextDataBuffer* packet) VRN_REQUIRES(m_Mutex);
    bool IsOld(uint32_t seq) const VRN_REQUIRES(m_Mutex);
    void RemoveHead(CTextDataBuffer* packet) VRN_REQUIRES(m_Mutex);
    uint32_t PlayOldest(CTextDataBuffer* packet) VRN_REQUIRES(m_Mutex);
    int StoreChar(unsigned char* data, int len) VRN_REQUIRES(m_Mutex);
    int RetrieveChar(unsigned char* out, int outSize) VRN_REQUIRES(m_Mutex);
    int RedundancyIsFrameReadyToPlay(unsigned int seq) VRN_REQUIRES(m_Mutex);
    int ParseRedundancyBuf(unsigned int seq, unsigned char** data, unsigned int* length) VRN_REQUIRES(m_Mutex);
    void PrintText(unsigned char* data, int len);

    VRNList<TextBuffer*>* m_pTextList VRN_GUARDED_BY(m_Mutex) = nullptr;     // typed text waiting for a tick
    VRNSpares<TextBuffer> m_SpareText VRN_GUARDED_BY(m_Mutex);               // records for it
    VRNList<RedListData*>* m_pRedList VRN_GUARDED_BY(m_Mutex) = nullptr;     // the last payloads sent, oldest first
    VRNList<CTextDataBuffer*>* m_pDecList VRN_GUARDED_BY(m_Mutex) = nullptr; // received packets; the transport's
    uint8_t* m_pSendBuf VRN_GUARDED_BY(m_Mutex) = nullptr;                   // where a RED payload is built
    uint8_t m_bIsIdlePeriod VRN_GUARDED_BY(m_Mutex) = 1;                     // 1 while no tick is pending
    uint8_t m_nPT VRN_GUARDED_BY(m_Mutex) = 0;                               // payload type of RED blocks
    uint8_t m_nRedLevel VRN_GUARDED_BY(m_Mutex) = 0;
    int32_t m_nRedCount VRN_GUARDED_BY(m_Mutex) = 0;       // ticks still owed to redundancy; below 0 when none is
    uint32_t m_nSkippedBlocks VRN_GUARDED_BY(m_Mutex) = 0; // empty generations that the last RED parse skipped
    uint32_t m_nPrevExtSeqNum VRN_GUARDED_BY(m_Mutex) = 0; // of the block last played; 0 for none yet
    HObject m_hSendTimer VRN_GUARDED_BY(m_Mutex) = VRN_NO_TIMER;
    CTextTransportManager* m_pTransport;
    VRNMutex m_Mutex;
    uint32_t m_nWaitingText VRN_GUARDED_BY(m_Mutex) = 0; // bytes in m_pTextList
    uint8_t m_PlayBuf[PLAY_BUFFER_SIZE] VRN_GUARDED_BY(m_Mutex) = {};
    uint32_t m_nPlayPos VRN_GUARDED_BY(m_Mutex) = 0;
    uint32_t m_nPlayLen VRN_GUARDED_BY(m_Mutex) = 0;

    // The tick of the last block that any codec of the process loaded; kept shared: it paces the loss wait of all.
    static std::atomic<uint32_t> s_nLastPlayTick;
};

// The send tick's entry: the value carries the codec.
void TimerCallbackFn(sigval value);

#endif
