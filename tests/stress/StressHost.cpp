#include "tests/stress/StressHost.h"

#include "tests/stress/Process.h"
#include "tests/support/HostFixture.h"

#include <memory>
#include <unistd.h>

namespace {

constexpr unsigned TRAFFIC_PAUSES_US = 8000;
constexpr unsigned PASTE = 600; // bytes; the longest pastes find no room in a packet
constexpr unsigned HANDLER_US_BITS = 15;

CorvaneTextEngineClient& s_Engine = *GetCorvaneTextEngineClient();
unsigned s_nSeed = 0;
std::unique_ptr<Repeating> s_pTraffic;
std::atomic<bool> s_bQuiet{true};
std::atomic<unsigned> s_nTimeouts[CHANNELS] = {}; // handlers of event 2, entered and left: odd while one runs
std::atomic<int> s_nInside[3] = {};               // handlers that run now, by event
thread_local int t_nTimeoutChannel = -1;          // while the thread runs the handler of that channel's event 2

FarEnd& Far(int channel) {
    static FarEnd ends[CHANNELS];
    return ends[channel];
}

// A call that takes the channel's transport lock, if it succeeds. While event 2 of the channel runs, that lock is its
// thread's: another thread's call does not return before.
template <typename Call> int Locking(int channel, Call call) {
    const unsigned before = s_nTimeouts[channel];
    const int result = call();
    Check(result != 1 || before % 2 == 0 || s_nTimeouts[channel] != before || t_nTimeoutChannel == channel,
          "while its event 2 runs, a channel is nobody else's");
    return result;
}

int Start(int channel, int direction) {
    return Locking(channel, [&] { return s_Engine.VRN_StartFDSR(channel, direction, 0); });
}

int SwitchRtcp(int channel, bool on) {
    return Locking(channel, [&] { return s_Engine.VRN_SetCallOptions(channel, on); });
}

void Type(Random& random, int channel) {
    std::string text(random() % 8 == 0 ? random() % PASTE : 1, 't');
    s_Engine.VRN_SendText(channel, text.data(), static_cast<unsigned>(text.size()));
}

void Configure(Random& random, int channel) {
    const FarEnd& far = Far(channel);
    stVRN_CodecInfo codec = {{}, RECV_T140, RECV_RED, SEND_T140, SEND_RED, static_cast<uint32_t>(random() % 4)};
    s_Engine.VRN_SetSendCodec(channel, &codec);
    s_Engine.VRN_SetSendIPnPort(channel, far.ip.c_str(), far.port);
    s_Engine.VRN_SetRecvIPnPort(channel, far.ip.c_str(), far.enginePort);
    s_Engine.VRN_SetNetId(channel, 0);
    s_Engine.VRN_SetRtcpOnCall(channel, 1, 1);
}

void CreateAnother(Random& random, int) {
    const int channel = s_Engine.VRN_CreateChannel();
    if (channel >= 0) {
        Configure(random, channel);
        Start(channel, VRN_CHANNEL_SENDRECV);
    }
}

constexpr unsigned GENTLE_OPERATIONS = 3;
void (*const OPERATIONS[])(Random&, int) = {
    Type,
    Configure,
    [](Random& random, int channel) { s_Engine.VRN_SetVEStatus(channel, static_cast<int>(random() % 4)); },
    [](Random& random, int channel) { ArmTimeout(channel, static_cast<short>(random() % 100)); },
    [](Random&, int channel) { SwitchRtcp(channel, false); },
    [](Random&, int channel) { s_Engine.VRN_ReconfigIPPort(channel); },
    [](Random&, int channel) { Locking(channel, [&] { return s_Engine.VRN_StopFDSR(channel); }); },
    [](Random& random, int channel) { Start(channel, static_cast<int>(random() % 4)); },
    CreateAnother,
    [](Random&, int channel) { s_Engine.VRN_DeleteChannel(channel); }, // inside an event it may be refused
};

void Handle(int channel, int event, void*) {
    const bool isTimeout = event == VRN_EVENT_RTCP_TIMEOUT;
    Check(s_nInside[event]++ == 0, "two events of one kind never run at once");
    s_nTimeouts[channel] += isTimeout ? 1 : 0;
    t_nTimeoutChannel = isTimeout ? channel : -1;
    if (!s_bQuiet) {
        Random random(s_nSeed + ++s_nHandled[event] * 2 + static_cast<unsigned>(event));
        usleep(1U << random() % HANDLER_US_BITS);
        for (unsigned calls = random() % 3; calls > 0; --calls) {
            Operate(random, static_cast<int>(random() % CHANNELS));
        }
    }
    t_nTimeoutChannel = -1;
    s_nTimeouts[channel] += isTimeout ? 1 : 0;
    --s_nInside[event];
}

// Valid text and reports, and what is neither, to all sockets.
std::function<void()> Traffic(unsigned seed) {
    return [hostile = HostileFire({&Far(0), &Far(1), &Far(2)}), random = Random(seed), seq = 0U]() mutable {
        FarEnd& far = Far(static_cast<int>(random() % CHANNELS));
        static const Bytes report = Datagram().U32(0x80C80006).U32(FAR_SSRC).Text(std::string(20, '\1'));
        hostile();
        far.SendPlain(++seq, "p");
        far.SendRed(++seq, "r", "", "e");
        far.rtcp.SendTo(static_cast<uint16_t>(far.enginePort + 1), report);
        usleep(static_cast<useconds_t>(random() % TRAFFIC_PAUSES_US));
    };
}

} // namespace

void StartHost(unsigned seed) {
    s_nSeed = seed << 16;
    s_Engine.VRN_Init();
    s_Engine.VRN_SetEventHandler(Handle);
}

void BeginCall(Random& random) {
    __atomic_store_n(&VRNlogLevel, random() % 8 == 0 ? 4 : 0, __ATOMIC_RELAXED);
    for (int channel = 0; channel < CHANNELS; ++channel) {
        UdpPeer& far = Far(channel).rtp;
        while (!far.Receive(0).empty()) {
        }
        CreateAnother(random, channel);
        Check(s_Engine.VRN_SendText(channel, std::string("s").data(), 1) == 1, "all channels are there again");
        Check(!far.Receive().empty(), "a new channel sends");
    }
    s_pTraffic = std::make_unique<Repeating>(Traffic(static_cast<unsigned>(random())));
    s_bQuiet = false;
}

void EndCall() {
    s_bQuiet = true;
    Check(WaitUntil([] { return s_nInside[1] + s_nInside[2] == 0; }), "handlers return");
    for (int channel = 0; channel < CHANNELS; ++channel) {
        Delete(channel);
    }
    s_pTraffic.reset();
}

void Operate(Random& random, int channel) {
    OPERATIONS[random() % (s_bGentle ? GENTLE_OPERATIONS : std::size(OPERATIONS))](random, channel);
}

void Restart(Random& random, int channel) {
    if (Start(channel, VRN_CHANNEL_SENDRECV) != 1) {
        CreateAnother(random, channel);
    }
}

void Delete(int channel) {
    Check(s_Engine.VRN_DeleteChannel(channel) == 1, "a host's thread may delete any channel");
}

TimePoint ArmTick(Random& random, int channel) {
    if (!s_bGentle) {
        Restart(random, channel);
    }
    Type(random, channel);
    return std::chrono::steady_clock::now() + SEND_TICK;
}

// The time-out's number of seconds is that of milliseconds until the check, and at 0 any silence is too long.
TimePoint ArmTimeout(int channel, short ms) {
    s_Engine.VRN_SetRtcpTimeout(channel, ms);
    SwitchRtcp(channel, false);
    SwitchRtcp(channel, true);
    const TimePoint armed = std::chrono::steady_clock::now();
    s_Engine.VRN_SetRtcpTimeout(channel, 0);
    return armed + std::chrono::milliseconds(ms);
}
