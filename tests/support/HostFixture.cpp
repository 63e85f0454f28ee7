#include "tests/support/HostFixture.h"

#include <algorithm>
#include <memory>
#include <mutex>
#include <random>
#include <unistd.h>

namespace {

constexpr int MAX_CHANNEL_IDS = 3;
constexpr unsigned HANG_SECONDS = 150;
constexpr unsigned FIRE_PAUSE_US = 200;

std::mutex s_Mutex;
std::vector<HostEvent> s_Events;
std::function<void(int, int)> s_Action;

void Keep(int channel, int id, void* data) {
    std::unique_lock<std::mutex> lock(s_Mutex);
    const auto* shown = static_cast<stVRN_DisplayText*>(data);
    s_Events.push_back({channel, id, shown ? reinterpret_cast<char*>(shown->pText) : "", shown ? shown->nLen : 0});
    const auto action = s_Action;
    lock.unlock();
    if (action) {
        action(channel, id);
    }
}

} // namespace

std::string OwnLoopback() {
    const auto part = [](int bits) { return std::to_string(static_cast<unsigned>(getpid()) >> bits & 0xFF); };
    return "127." + part(16) + '.' + part(8) + '.' + part(0);
}

void FarEnd::SendPlain(uint32_t seq, const std::string& text, uint32_t ssrc) {
    rtp.SendTo(enginePort, Datagram().RtpHeader(false, RECV_T140, seq, seq * 300, ssrc).Text(text));
}

void FarEnd::SendRed(uint32_t seq, const std::string& older, const std::string& newer, const std::string& text) {
    Datagram packet = Datagram().RtpHeader(false, RECV_RED, seq, seq * 300, FAR_SSRC);
    packet.RedHeader(RECV_T140, 600, static_cast<uint32_t>(older.size()));
    packet.RedHeader(RECV_T140, 300, static_cast<uint32_t>(newer.size()));
    rtp.SendTo(enginePort, packet.U8(RECV_T140).Text(older + newer + text));
}

HostTest::HostTest() : engine(*GetCorvaneTextEngineClient()) {
    alarm(HANG_SECONDS);
    static const int initialized = engine.VRN_Init();
    EXPECT_EQ(0, initialized);
    engine.VRN_SetEventHandler(Keep);
}

void HostTest::TearDown() {
    for (int channel = 0; channel < MAX_CHANNEL_IDS; ++channel) {
        engine.VRN_DeleteChannel(channel);
    }
    OnEvent(nullptr);
    s_Events.clear();
    alarm(0);
}

void HostTest::Configure(int channel, const FarEnd& far, uint32_t level) {
    stVRN_CodecInfo codec = {{~0U, ~0U, ~0U, ~0U}, RECV_T140, RECV_RED, SEND_T140, SEND_RED, level};
    EXPECT_EQ(1, engine.VRN_SetSendCodec(channel, &codec));
    EXPECT_EQ(1, engine.VRN_SetSendIPnPort(channel, far.ip.c_str(), far.port));
    EXPECT_EQ(1, engine.VRN_SetRecvIPnPort(channel, far.ip.c_str(), far.enginePort));
}

int HostTest::Open(const FarEnd& far, int direction, uint32_t level) {
    const int channel = engine.VRN_CreateChannel();
    Configure(channel, far, level);
    EXPECT_EQ(1, engine.VRN_StartFDSR(channel, direction, 0));
    return channel;
}

int HostTest::Type(int channel, const std::string& text) {
    std::string typed = text;
    return engine.VRN_SendText(channel, typed.data(), static_cast<unsigned>(typed.size()));
}

void HostTest::CheckSilence(int channel) {
    EXPECT_EQ(1, engine.VRN_SetRtcpTimeout(channel, 1));
    EXPECT_EQ(1, engine.VRN_SetCallOptions(channel, false));
    EXPECT_EQ(1, engine.VRN_SetCallOptions(channel, true));
}

void HostTest::OnEvent(std::function<void(int, int)> action) {
    std::lock_guard<std::mutex> lock(s_Mutex);
    s_Action = std::move(action);
}

std::vector<HostEvent> HostTest::Events(int id) {
    std::lock_guard<std::mutex> lock(s_Mutex);
    std::vector<HostEvent> events;
    std::copy_if(s_Events.begin(), s_Events.end(), std::back_inserter(events),
                 [id](const HostEvent& event) { return event.id == id; });
    return events;
}

std::string HostTest::Shown(int channel) {
    std::string text;
    for (const HostEvent& event : Events(VRN_EVENT_TEXT_RECEIVED)) {
        text += event.channel == channel ? event.text : "";
    }
    return text;
}

uint32_t Read32(const Bytes& bytes, size_t at) {
    uint32_t value = 0;
    for (size_t i = at; i < at + 4; ++i) {
        value = value << 8 | (i < bytes.size() ? bytes[i] : 0);
    }
    return value;
}

// Bytes that are not RTP or RTCP, or nearly are.
std::function<void()> HostileFire(const std::vector<const FarEnd*>& ends) {
    static const uint8_t starts[][2] = {{0x80, RECV_RED}, {0x80, RECV_T140}, {0xBF, RECV_RED}, {0x81, 201}, {0, 0}};
    auto stranger = std::make_shared<UdpPeer>(0, OwnLoopback());
    return [stranger, ends, random = std::mt19937(1)]() mutable {
        Bytes datagram(2 + random() % (random() % 3 == 0 ? 16 : 1500));
        std::generate(datagram.begin(), datagram.end(), [&random] { return static_cast<uint8_t>(random()); });
        std::copy_n(starts[random() % std::size(starts)], 2, datagram.begin());
        stranger->SendTo(static_cast<uint16_t>(ends[random() % ends.size()]->enginePort + random() % 2), datagram);
        usleep(FIRE_PAUSE_US);
    };
}
