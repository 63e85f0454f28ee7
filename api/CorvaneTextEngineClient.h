// libVRN: real-time text beside a call. ITU-T T.140 text in RTP over UDP (RFC 3550) with the redundancy of RFC 4103,
// carried as RED blocks (RFC 2198), RTCP reports and a time-out event, up to three channels.
//
// This is the one header a host includes. It needs C++11 and nothing else.
//
// Call order
//   once:      GetCorvaneTextEngineClient, VRN_Init, VRN_SetEventHandler
//   per call:  VRN_CreateChannel, VRN_SetSendCodec, VRN_SetSendIPnPort, VRN_SetRecvIPnPort, VRN_SetNetId,
//              VRN_SetRtcpOnCall, VRN_SetRtcpTimeout, VRN_StartFDSR, and only then VRN_SetCallOptions
//   during it: VRN_SendText, VRN_SetVEStatus, VRN_ReconfigIPPort
//   at its end: VRN_StopFDSR, VRN_DeleteChannel
// Every method but VRN_Init and VRN_GetLastError needs VRN_Init to have run: there is no check, and without it the
// process ends.
//
// Results: 1 for success and -1 for failure, unless a method says otherwise. Nothing throws. Each failure is also a
// line in the platform log (see VRNlogLevel).
//
// Threads: the methods may be called from any host thread and from inside the event handler. Two calls that set up,
// switch or end the same channel do not belong on two threads at once: the engine survives it, but which of them wins
// is not said.
//
// The event handler
//   Event 1 comes on the engine's feeder thread, event 2 on a timer thread; both can run at the same time, two events
//   of one kind cannot. The handler returns quickly and does not throw: while it runs event 1 no further text is
//   delivered, and while it runs event 2 (raised with its channel's transport lock held) receiving and showing text can
//   stand still, on all channels.
//   From inside either event the handler may call, for its own and for any other channel, VRN_SendText,
//   VRN_SetVEStatus, VRN_StartFDSR, VRN_StopFDSR, VRN_ReconfigIPPort and every setter, and may create a channel or
//   delete one, from event 1 also its own. Refused with -1 and a line: deleting the last channel from inside an event,
//   deleting its own channel from inside event 2, and creating a channel from inside an event while another thread
//   deletes the last one.
//
// Host locks: a call that creates, starts, switches, reconfigures, stops or deletes a channel, or switches RTCP, may
// wait for an event in progress, so the caller holds no lock that its handler takes. Engine threads log with engine
// locks held: where the host defines __android_log_print itself, that function calls no engine method, and no engine
// method is called with a lock held that it takes.
#ifndef CORVANE_TEXT_ENGINE_CLIENT_H
#define CORVANE_TEXT_ENGINE_CLIENT_H

#include <cstddef>
#include <cstdint>

#if defined(__GNUC__)
#define VRN_EXPORT __attribute__((visibility("default")))
#else
#define VRN_EXPORT
#endif

// The direction of a channel, a bit set: bit 0 sends, bit 1 receives. Only these two bits have effect; other bits of a
// value passed as an int are stored and compared, and make RTCP send receiver reports.
enum VRN_CHANNEL_STATUS : std::int32_t {
    VRN_CHANNEL_INACTIVE = 0,
    VRN_CHANNEL_SENDONLY = 1,
    VRN_CHANNEL_RECVONLY = 2,
    VRN_CHANNEL_SENDRECV = 3
};

// The second argument of the event handler.
enum VRN_EVENT_ID : std::int32_t {
    VRN_EVENT_TEXT_RECEIVED = 1, // data: stVRN_DisplayText*
    VRN_EVENT_RTCP_TIMEOUT = 2   // data: null
};

// The codec settings of a channel. Read during VRN_SetSendCodec only; the engine keeps no pointer to it.
// Payload types are RTP payload types, 0 to 127 (RFC 3551); for text the dynamic range 96 to 127 is usual.
struct stVRN_CodecInfo {
    std::uint32_t reserved[4];          // offset 0: never read
    std::uint32_t nRecvT140PayloadType; // offset 16: plain T.140 accepted on receive
    std::uint32_t nRecvRedPayloadType;  // offset 20: RED accepted on receive
    std::uint32_t nSendT140PayloadType; // offset 24: plain T.140 sent, and the type of each RED block
    std::uint32_t nSendRedPayloadType;  // offset 28: RED sent
    std::uint32_t nRedundancyLevel;     // offset 32: earlier generations in each packet (RFC 4103), low 8 bits; 0 is
                                        // plain T.140, 2 is usual; behind 16 and more this engine reads no text
};

// What event 1 points to. The engine owns the record and the text; both are good only until the handler returns, so
// the handler copies what it keeps.
struct stVRN_DisplayText {
    // UTF-8, one character, NUL-terminated (the buffer has 100 bytes). A byte order mark, a backspace (U+0008) and
    // the other T.140 controls come as they were typed. After unrecoverable loss it starts with the two bytes FD FF
    // instead.
    unsigned char* pText;
    // Bytes of the character, 1 to 6; after the bytes FD FF, the number of packets lost, which is then not the length
    // of pText, can be far above it, and below 0 where a stream begins with number 0: look for FD FF before you take
    // it for a length. Never 0.
    std::int32_t nLen;
};

// The host's callback: channel id, event id (VRN_EVENT_ID), data. See "The event handler" above for its threads and
// for what it may call.
typedef void (*VRNEventHandler)(int channel, int event, void* data);

#if defined(__LP64__)
static_assert(sizeof(stVRN_CodecInfo) == 36, "the record is shared with hosts");
static_assert(offsetof(stVRN_CodecInfo, nRecvT140PayloadType) == 16, "the record is shared with hosts");
static_assert(offsetof(stVRN_CodecInfo, nRecvRedPayloadType) == 20, "the record is shared with hosts");
static_assert(offsetof(stVRN_CodecInfo, nSendT140PayloadType) == 24, "the record is shared with hosts");
static_assert(offsetof(stVRN_CodecInfo, nSendRedPayloadType) == 28, "the record is shared with hosts");
static_assert(offsetof(stVRN_CodecInfo, nRedundancyLevel) == 32, "the record is shared with hosts");
static_assert(offsetof(stVRN_DisplayText, nLen) == 8, "the record is shared with hosts");
static_assert(sizeof(VRN_CHANNEL_STATUS) == 4, "directions are 32-bit");
#endif

// How much the engine logs: below 1 nothing, 1 failures, 2 and more everything. Starts at 4. A host writes it at any
// time, from any thread. All lines have the tag "[VRN]" and the error priority.
extern "C" VRN_EXPORT int VRNlogLevel;

// The engine. There is one, it is never destroyed, and it holds no state that a host can see.
class VRN_EXPORT CorvaneTextEngineClient {
public:
    // Makes the engine ready. 0 for success; -1 when it already is, which changes nothing. Once per process, from one
    // thread; there is no counterpart.
    int VRN_Init();

    // Takes the lowest free channel id. 0 to 2, or -1 when all three are taken, or refused from inside an event (see
    // above). The first channel starts the engine's three threads and resets its millisecond clock. The channel keeps
    // the event handler set at this moment for its event 2.
    int VRN_CreateChannel();

    // Payload types and redundancy. -1: id not 0 to 2, no such channel, or null. Payload types of RTP hold from the
    // next packet; the level and the type inside RED blocks from the next start.
    int VRN_SetSendCodec(int channel, stVRN_CodecInfo* codec);

    // Where the far end receives: IPv4 or IPv6 in text form (64 characters are kept, no zone) and its RTP port; its
    // RTCP port is the next one (RFC 3550, 11). Holds from the next start. -1: id not 0 to 2, no such channel, or
    // null. The text is not checked: at the start, one that is no address leaves the address and port of the start
    // before, or none.
    int VRN_SetSendIPnPort(int channel, const char* ip, unsigned short port);

    // Where this side receives, likewise: the local address to bind, its RTP port, and the next one for RTCP.
    int VRN_SetRecvIPnPort(int channel, const char* ip, unsigned short port);

    // Starts the channel in a direction (VRN_CHANNEL_STATUS). Its sockets are opened and bound; a channel already
    // started is stopped, RTCP too, and built anew. The third argument is ignored. The last channel that began to
    // receive is the active one, whose text is delivered.
    // 1 is also what a failed start returns (a port in use, or a descriptor of 1024 or more, which cannot receive):
    // the log has the reason. The direction is then still the one before. -1: id not 0 to 2 or no such channel.
    // RTP sequence numbers start at 1 whenever sending starts, while a receiver goes on from the last number it saw:
    // after a pause a far end may drop the first packets.
    int VRN_StartFDSR(int channel, int direction, int ignored);

    // Ends sending, receiving and RTCP and closes the sockets; the channel and its settings stay. Also right for a
    // channel never started. -1: id not 0 to 2 or no such channel.
    int VRN_StopFDSR(int channel);

    // Deletes the channel; one still started is stopped first. The last one ends the engine's threads, within 100 ms
    // (1.3 s where the first channel was created with all descriptors below 1024 in use) and an event in progress. 1
    // also when there is no such channel. -1: id not 0 to 2, or refused from inside an event (see above). When it
    // returns, no event of the channel is running or will come, but for an event 1 already under way on the feeder
    // thread.
    int VRN_DeleteChannel(int channel);

    // Stops the channel and starts it in the direction that it last took, with the addresses and ports set since. RTCP
    // is then off. 1 also when there is no such channel; -1: id not 0 to 2, or the stop or the start failed.
    int VRN_ReconfigIPPort(int channel);

    // Switches the direction of a started channel (a hold, for example). The sockets stay open. Sequence numbers start
    // at 1 again where sending starts, and from 3 to 1 too: a far end may drop what follows. 1 also when switching
    // failed; -1: id not 0 to 2 or no such channel. Text that arrived meanwhile is read when receiving resumes.
    int VRN_SetVEStatus(int channel, int direction);

    // The platform network to send on: 1 and more marks the sockets for that network, which needs the right to
    // (CAP_NET_ADMIN), and without it the next start fails; 0 and less leaves them unmarked. Holds from the next
    // start. -1: id not 0 to 2 or no such channel.
    int VRN_SetNetId(int channel, int netId);

    // RTCP bandwidths. Stored; reports go out every 2 seconds whatever they say. -1: id not 0 to 2 or no such channel.
    int VRN_SetRtcpOnCall(int channel, int first, int second);

    // How many seconds without RTCP from the far end raise event 2. The silence is compared in seconds, and a change
    // holds from the next check; but the timer of the check takes the number, after the first check less the silence
    // so far in ms, as milliseconds. So with N the first check comes N ms after RTCP is switched on, raises the event
    // when the far end has been silent for more than N s by then (since its last report, or since the start), and
    // otherwise mostly never runs again: at 0 and below the timer does not fire. A host that must notice a silent far
    // end does not rely on event 2 alone. RTCP switched on with 0 never raises it. -1: id not 0 to 2 or no such
    // channel.
    int VRN_SetRtcpTimeout(int channel, short seconds);

    // Switches RTCP (RFC 3550, 6) on or off on a started channel: a report every 2000 ms, the time-out check, and the
    // reading of reports. Only the lowest bit of the byte counts. Reports end with the first that cannot be sent,
    // until RTCP is switched off and on. -1: id not 0 to 2, no such channel, switching on before the channel is started
    // or with a descriptor of 1024 or more, or a timer that could not be armed.
    int VRN_SetCallOptions(int channel, bool rtcpEnabled);

    // Hands over typed text, UTF-8, `length` bytes, no NUL needed; not kept after the call. From idle it goes out at
    // once; while a send tick is pending it goes out with the next one, at most 300 ms later, split over several when
    // it is long. From idle, text too long for a RED packet of 500 bytes is lost, and only the log tells (the result is
    // 1): hand over what is typed as it is typed.
    // -1: id not 0 to 2, no such channel, not sending, null or empty text, more than 1400 bytes from idle, more than
    // 64 KiB waiting; or the platform has no timer left, in which case this text was sent all the same.
    int VRN_SendText(int channel, char* text, unsigned int length);

    // Sets the host's callback; null for none, in which case received text is dropped. Before the first
    // VRN_CreateChannel: a channel created earlier keeps the handler of that moment for its event 2.
    void VRN_SetEventHandler(VRNEventHandler handler);

    // Always -1: no error is kept.
    int VRN_GetLastError();
};

// The engine, the same pointer on every call, before and after VRN_Init. Never null. Found by dlsym under this name.
extern "C" VRN_EXPORT CorvaneTextEngineClient* GetCorvaneTextEngineClient();

#endif
