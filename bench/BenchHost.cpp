#include "bench/BenchHost.h"

#include "bench/SystemCalls.h"
#include "codec/T140Codec.h"
#include "util/VRNLog.h"

#include <cstdlib>
#include <string>

size_t s_nDelivered = 0;

namespace {

constexpr const char* ADDRESS = "127.0.0.1";
constexpr uint32_t SSRC = 0x5EED;
constexpr size_t SEQUENCE_NUMBER_AT = 2; // RFC 3550, 5.1

void CountEvent(int, int, void*) {
    ++s_nDelivered;
}

} // namespace

BenchHost::BenchHost(uint32_t level, int channels) : m_nLevel(level) {
    VRNlogLevel = 0;
    manager.SetEventHandler(CountEvent);
    for (int i = 0; i < channels; ++i) {
        AddChannel();
    }
}

BenchHost::~BenchHost() {
    for (size_t channel = 0; channel < m_Received.size(); ++channel) {
        manager.DeleteChannel(static_cast<int>(channel));
    }
    system_calls::Skip(false);
}

void BenchHost::AddChannel() {
    const int channel = manager.CreateChannel();
    stVRN_CodecInfo codec = {{}, BENCH_T140, BENCH_RED, BENCH_T140, BENCH_RED, m_nLevel};
    manager.SetSendCodec(channel, &codec);
    manager.SetSendIPnPort(channel, ADDRESS, farEnd.Port());
    manager.SetRecvIPnPort(channel, ADDRESS, FreePortPair());
    Start(channel);
    m_Received.push_back(TextPacket(m_nLevel));
}

// A failed start returns success, but one that went through has RTCP to switch.
void BenchHost::Start(int channel) {
    manager.StartFDSR(channel, VRN_CHANNEL_SENDRECV);
    if (manager.SetRtcpCallOptions(channel, true) != 1 || manager.SetRtcpCallOptions(channel, false) != 1) {
        abort();
    }
}

void BenchHost::Type(int channel, int characters) {
    char character[] = "a";
    for (int i = 0; i < characters; ++i) {
        manager.SendText(channel, character, 1);
    }
}

size_t BenchHost::Tick() {
    system_calls::AdvanceClocks(SEND_INTERVAL_MS);
    return system_calls::ExpireTimers();
}

void BenchHost::GoIdle() {
    while (Tick() != 0) {
    }
}

void BenchHost::Receive(int channel) {
    Bytes& datagram = m_Received[static_cast<size_t>(channel)];
    uint8_t* const seq = datagram.data() + SEQUENCE_NUMBER_AT;
    seq[0] = static_cast<uint8_t>(seq[0] + (++seq[1] == 0));
    system_calls::SetReceived(&datagram);
    CTextSocketInfo readable;
    readable.m_eSockType = VRN_SOCK_RTP;
    readable.m_nChannelId = static_cast<uint32_t>(channel);
    manager.OnReceive(&readable);
    manager.DispatchNext(__PRETTY_FUNCTION__);
}

void BenchHost::ReceiveAndShow(int channel) {
    Receive(channel);
    for (int i = 0; i < CHARACTERS; ++i) {
        Deliver();
    }
}

void BenchHost::Restart() {
    for (size_t channel = 0; channel < m_Received.size(); ++channel) {
        manager.StopFDSR(static_cast<int>(channel));
        Start(static_cast<int>(channel));
    }
}

void BenchHost::DrainFarEnd() {
    while (!farEnd.Receive(0).empty()) {
    }
}

Bytes TextPacket(uint32_t level) {
    const std::string text(CHARACTERS, 'a');
    Datagram packet;
    packet.RtpHeader(false, level == 0 ? BENCH_T140 : BENCH_RED, 0, 0, SSRC);
    for (uint32_t generation = level; generation > 0; --generation) {
        packet.RedHeader(BENCH_T140, generation * SEND_INTERVAL_MS, static_cast<uint32_t>(text.size()));
    }
    if (level > 0) {
        packet.U8(BENCH_T140);
    }
    for (uint32_t block = 0; block <= level; ++block) {
        packet.Text(text);
    }
    return packet;
}
