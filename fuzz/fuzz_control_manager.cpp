// The control manager: calls of any kind in any order, from outside and from inside both events, with traffic between
// the channels and to them. Results are those of a table of three slots, and nothing outlives its channel.
#include "fuzz/Fuzz.h"
#include "sim/SimulatedHost.h"
#include "tests/support/ManualTime.h"

constexpr const char* ADDRESSES[] = {"127.0.0.1", "127.0.0.1", "no address", nullptr};

struct Caller : public SimulatedHost {
    bool isUsed[MAX_CHANNELS + 1] = {}; // the last stands for every id that is none

    void Call(ByteReader& input, int what, int event = 0, int eventChannel = 0) {
        const int call = what % 16;
        const int channel = what / 16 % 5 - 1;
        const int slot = channel < 0 ? MAX_CHANNELS : channel;
        const uint8_t value = input.U8();
        const char* const address = ADDRESSES[call == 3 || call == 4 ? value % 4 : 0];
        const uint16_t port = static_cast<uint16_t>(LocalPort(value / 4 % 4) + value / 64);
        const Bytes bytes = Take(input, call > 12 ? value % 32 : 0);
        stVRN_CodecInfo codec = {{}, SIM_SEND_T140, SIM_SEND_RED, SIM_SEND_T140, SIM_SEND_RED, value};
        const auto used = std::count(isUsed, isUsed + MAX_CHANNELS, true);
        // Refused from inside events: deleting the only channel; from inside event 2 also its own.
        const bool isRefused = isUsed[slot] && event != 0 && (used == 1 || (event == 2 && channel == eventChannel));
        const int free = static_cast<int>(std::find(isUsed, isUsed + MAX_CHANNELS, false) - isUsed);
        const int expected = call == 0                 ? (free < MAX_CHANNELS ? free : -1)
                             : call == 1 && isRefused  ? -1
                             : call == 1 || call == 12 ? (slot < MAX_CHANNELS ? 1 : -1)
                                                       : (isUsed[slot] && address != nullptr ? 1 : -1);
        const int result = call == 0   ? manager.CreateChannel()
                           : call == 1 ? manager.DeleteChannel(channel)
                           : call == 2 ? manager.SetSendCodec(channel, &codec)
                           : call == 3 ? manager.SetSendIPnPort(channel, address, port)
                           : call == 4 ? manager.SetRecvIPnPort(channel, address, port)
                           : call == 5 ? (manual_time::FailNextStarts(value % 4), expected)
                           : call == 6 ? manager.SetRtcpTimeout(channel, static_cast<short>(value - 1))
                           : call == 7 ? manager.SetRtcpCallOptions(channel, value % 2 != 0)
                           : call < 10 ? manager.StartFDSR(channel, value % 8)
                           : call < 11 ? manager.SetVEStatus(channel, value % 4)
                           : call < 12 ? manager.StopFDSR(channel)
                           : call < 13 ? manager.ReconfigIPPort(channel)
                           : call < 14 ? Type(channel, {bytes.begin(), bytes.end()})
                                       : expected;
        FUZZ_CHECK(result == expected || (result == -1 && (call == 7 || call > 11)));
        memory_network::Put(static_cast<uint16_t>(call < 14 ? 0 : LocalPort(slot) + value / 128), bytes);
        isUsed[slot] = isUsed[slot] && (call != 1 || isRefused);
        isUsed[free] = call == 0 && free < MAX_CHANNELS;
        const size_t idle = std::count(isUsed, isUsed + MAX_CHANNELS, false) + (call == 11 && isUsed[slot] ? 1U : 0U);
        FUZZ_CHECK(memory_network::OpenSockets() <= 6 - 2 * idle && manual_time::LiveTimers() <= 9 - 3 * idle);
    }
};

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    ByteReader input(data, size);
    TakeMode(input);
    {
        Caller caller;
        caller.onEvent = [&](int channel, int event) { caller.Call(input, input.U8(), event, channel); };
        while (HasMore(input)) {
            const uint8_t what = input.U8();
            const uint64_t then = manual_time::Now() + (what < 0xF0 ? what - 0x80U : 250U) * 20;
            what < 0x80 ? caller.Call(input, what) : caller.RunUntil(then);
            manual_time::StepWallClock(what < 0xF0 ? 0 : (what - 0xF8) * 5000);
            for (const memory_network::SentDatagram& sent : memory_network::TakeSent()) {
                memory_network::Put(sent.toPort, sent.data); // to whichever channel has the port now
            }
        }
    }
    FUZZ_CHECK(manual_time::LiveTimers() == 0 && memory_network::OpenSockets() == 0);
    return 0;
}
