#include "tests/support/HostFixture.h"

#include <filesystem>
#include <fstream>
#include <mutex>
#include <random>
#include <sstream>
#include <unistd.h>

namespace {

constexpr int MAX_CHANNEL_IDS = 3;
constexpr unsigned HANG_SECONDS = 150;
constexpr unsigned FLOOD_PAUSE_US = 200;
constexpr unsigned SETTLE_US = 100000;

std::mutex s_Mutex;
std::vector<HostEvent> s_Events;
std::function<void(int, int)> s_Action;

void Keep(int handler, int channel, int id, void* data) {
    std::function<void(int, int)> action;
    {
        std::lock_guard<std::mutex> lock(s_Mutex);
        const auto* shown = static_cast<stVRN_DisplayText*>(data);
        s_Events.push_back(
            {channel, id, shown ? reinterpret_cast<char*>(shown->pText) : "", shown ? shown->nLen : 0, handler});
        action = s_Action;
    }
    if (action) {
        action(channel, id);
    }
}

bool Matches(const char* pattern, const char* text) {
    if (*pattern == '*') {
        return Matches(pattern + 1, text) || (*text != '\0' && Matches(pattern, text + 1));
    }
    return *pattern == *text && (*text == '\0' || Matches(pattern + 1, text + 1));
}

size_t CountEntries(const char* directory) {
    const auto entries = std::filesystem::directory_iterator(directory);
    return static_cast<size_t>(std::distance(begin(entries), end(entries)));
}

Resources CountNow() {
    Resources held = {CountEntries("/proc/self/fd"), CountEntries("/proc/self/task"), 0};
    std::ifstream timers("/proc/self/timers");
    for (std::string line; std::getline(timers, line);) {
        held.timers += line.rfind("ID:", 0) == 0 ? 1 : 0;
    }
    return held;
}

// Bytes that are not RTP or RTCP, or nearly are.
Bytes HostileDatagram(std::mt19937& random) {
    static const uint8_t starts[][2] = {{0x80, RECV_RED}, {0x80, RECV_T140}, {0x40, RECV_RED}, {0xBF, RECV_RED},
                                        {0x80, 200},      {0x81, 201},       {0x9F, 201}};
    Bytes datagram(random() % 3 == 0 ? random() % 16 : random() % 1500);
    for (uint8_t& byte : datagram) {
        byte = static_cast<uint8_t>(random());
    }
    if (datagram.size() >= 2 && random() % 4 != 0) {
        std::copy_n(starts[random() % std::size(starts)], 2, datagram.begin());
    }
    return datagram;
}

} // namespace

const std::string& OwnLoopback() {
    static const std::string ip = [] {
        const unsigned pid = static_cast<unsigned>(getpid());
        return "127." + std::to_string(1 + (pid >> 16) % 254) + '.' + std::to_string(pid >> 8 & 0xFF) + '.' +
               std::to_string(pid & 0xFF);
    }();
    return ip;
}

FarEnd::FarEnd(const std::string& address) : FarEnd(address, FreePortPair(address)) {}

FarEnd::FarEnd(const std::string& address, uint16_t port)
    : ip(address), rtp(port, address), rtcp(port + 1, address), enginePort(FreePortPair(address)) {}

void FarEnd::SendPlain(uint32_t seq, const std::string& text, uint32_t ssrc) {
    rtp.SendTo(enginePort, Datagram().RtpHeader(false, RECV_T140, seq, seq * 300, ssrc).Text(text));
}

void FarEnd::SendRed(uint32_t seq, const std::vector<std::string>& generations, const std::string& text) {
    Datagram packet;
    packet.RtpHeader(false, RECV_RED, seq, seq * 300, FAR_SSRC);
    uint32_t offset = static_cast<uint32_t>(generations.size()) * 300;
    for (const std::string& generation : generations) {
        packet.RedHeader(RECV_T140, offset, static_cast<uint32_t>(generation.size()));
        offset -= 300;
    }
    packet.U8(RECV_T140);
    for (const std::string& generation : generations) {
        packet.Text(generation);
    }
    rtp.SendTo(enginePort, packet.Text(text));
}

void FarEnd::SendRtcp(uint32_t type) {
    rtcp.SendTo(enginePort + 1, Datagram().U8(0x81).U8(type).U16(7).U32(FAR_SSRC).Text(std::string(24, '\0')));
}

void FirstHandler(int channel, int event, void* data) {
    Keep(1, channel, event, data);
}

void SecondHandler(int channel, int event, void* data) {
    Keep(2, channel, event, data);
}

const FirstInit& InitOnce() {
    static const FirstInit first = [] {
        LogCapture log;
        const int result = GetCorvaneTextEngineClient()->VRN_Init();
        return FirstInit{result, log.OwnLines()};
    }();
    return first;
}

HostTest::HostTest() : engine(*GetCorvaneTextEngineClient()) {
    alarm(HANG_SECONDS);
    InitOnce();
    engine.VRN_SetEventHandler(FirstHandler);
}

HostTest::~HostTest() {
    for (int channel = 0; channel < MAX_CHANNEL_IDS; ++channel) {
        engine.VRN_DeleteChannel(channel);
    }
    SetLogLevel(4);
    OnEvent(nullptr);
    std::lock_guard<std::mutex> lock(s_Mutex);
    s_Events.clear();
    alarm(0);
}

void HostTest::Configure(int channel, const FarEnd& far, uint32_t level) {
    stVRN_CodecInfo codec = {{~0U, ~0U, ~0U, ~0U}, RECV_T140, RECV_RED, SEND_T140, SEND_RED, level};
    EXPECT_EQ(1, engine.VRN_SetSendCodec(channel, &codec));
    EXPECT_EQ(1, engine.VRN_SetSendIPnPort(channel, far.ip.c_str(), far.rtp.Port()));
    EXPECT_EQ(1, engine.VRN_SetRecvIPnPort(channel, far.ip.c_str(), far.enginePort));
}

int HostTest::Create(const FarEnd& far, uint32_t level) {
    const int channel = engine.VRN_CreateChannel();
    EXPECT_GE(channel, 0);
    Configure(channel, far, level);
    return channel;
}

int HostTest::Open(const FarEnd& far, int direction, uint32_t level) {
    const int channel = Create(far, level);
    EXPECT_EQ(1, engine.VRN_StartFDSR(channel, direction, 0));
    return channel;
}

int HostTest::Type(int channel, const std::string& text) {
    std::string typed = text;
    return engine.VRN_SendText(channel, typed.data(), static_cast<unsigned>(typed.size()));
}

void HostTest::RaiseTimeout(int channel) {
    usleep(SILENCE_US);
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

void SetLogLevel(int level) {
    __atomic_store_n(&VRNlogLevel, level, __ATOMIC_RELAXED);
}

uint32_t Read32(const Bytes& bytes, size_t at) {
    uint32_t value = 0;
    for (size_t i = at; i < at + 4; ++i) {
        value = value << 8 | (i < bytes.size() ? bytes[i] : 0);
    }
    return value;
}

testing::AssertionResult LinesMatch(const std::string& pattern, const std::vector<std::string>& lines) {
    std::istringstream expected(pattern);
    std::string wanted;
    for (const std::string& line : lines) {
        if (!std::getline(expected, wanted)) {
            return testing::AssertionFailure() << "one line too many: " << line;
        }
        if (!Matches(wanted.c_str(), line.c_str())) {
            return testing::AssertionFailure() << "expected: " << wanted << "\n    logged: " << line;
        }
    }
    if (std::getline(expected, wanted)) {
        return testing::AssertionFailure() << "missing: " << wanted;
    }
    return testing::AssertionSuccess();
}

Resources CountResources() {
    usleep(SETTLE_US);
    return CountNow();
}

testing::AssertionResult HoldsNoMoreThan(const Resources& before) {
    Resources now = CountNow();
    const bool isSo = WaitUntil([&] {
        now = CountNow();
        return now.descriptors <= before.descriptors && now.threads <= before.threads && now.timers <= before.timers;
    });
    return (isSo ? testing::AssertionSuccess() : testing::AssertionFailure())
           << "descriptors " << before.descriptors << " -> " << now.descriptors << ", threads " << before.threads
           << " -> " << now.threads << ", timers " << before.timers << " -> " << now.timers;
}

Flood::Flood(const std::vector<uint16_t>& ports)
    : m_Thread([this, ports] {
          UdpPeer stranger(0, OwnLoopback());
          std::mt19937 random(1);
          while (m_bRunning) {
              stranger.SendTo(ports[random() % ports.size()], HostileDatagram(random));
              usleep(FLOOD_PAUSE_US);
          }
      }) {}

Flood::~Flood() {
    m_bRunning = false;
    m_Thread.join();
}
