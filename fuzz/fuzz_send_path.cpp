// The send path: texts and times. Each datagram is taken apart by independent readers and held against those before it;
// some are lost, never more in a row than redundancy restores; and the text comes out of the far end once and in order,
// but for payloads too long to be sent.
#include "fuzz/Fuzz.h"
#include "sim/SimulatedHost.h"
#include "tests/support/ManualTime.h"
#include "tests/support/RedBlocks.h"
#include "util/VRNClock.h"

constexpr const char* CHARACTERS[] = {"\n", "\xC3\xA9", "\xE2\x80\xA8", "\xF0\x9F\x98\x80"};

struct Call : public SimulatedHost {
    uint32_t level = 0, sent = 0, losses = 0, lostInRow = 0; // losses: which of 16 packets
    std::string typed, wire, shown;
    bool wasRefused = false;

    void RunUntil(uint64_t then, bool fromIdle = false) {
        SimulatedHost::RunUntil(then);
        for (auto& [from, to, packet] : memory_network::TakeSent()) {
            FUZZ_CHECK(packet[0] == 0x80 &&
                       packet[1] == (level > 0 ? SIM_SEND_RED : SIM_SEND_T140) + (fromIdle ? 128 : 0));
            FUZZ_CHECK(Number(packet, 2, 2) == ++sent && (!fromIdle || Number(packet, 4, 4) == VRNGetTickCount()));
            Bytes payload(packet.begin() + 12, packet.end());
            payload.insert(payload.begin(), level == 0 ? 1 : 0, SIM_SEND_T140); // plain text as one block
            const std::vector<RedBlock> blocks = ParseRed(payload, level + 1);
            FUZZ_CHECK(blocks.size() == level + 1 && (level == 0 || payload.size() <= 500));
            wire += blocks.back().data;
            lostInRow = sent > 1 && lostInRow < level && (losses >> sent % 16 & 1) != 0 ? lostInRow + 1 : 0;
            packet[1] = static_cast<uint8_t>(packet[1] + SIM_RECV_RED - SIM_SEND_RED);
            memory_network::Put(lostInRow > 0 ? 0 : LocalPort(1), packet);
        }
        for (const SimEvent& event : TakeEvents()) {
            shown += event.text;
        }
    }
};

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    ByteReader input(data, size);
    const uint8_t mode = TakeMode(input);
    Call call;
    call.level = input.U8() % ((mode & 2) != 0 ? 32 : 16);
    call.losses = input.U16();
    for (int channel : {0, 1}) {
        call.manager.CreateChannel();
        call.Configure(channel, call.level);
        call.manager.StartFDSR(channel, channel == 0 ? VRN_CHANNEL_SENDONLY : VRN_CHANNEL_RECVONLY);
    }
    manual_time::SetTick(mode % 2 != 0 ? 0xFFFFF000 : 0);
    while (HasMore(input) && call.typed.size() < 500) {
        const uint8_t kind = input.U8();
        std::string text;
        for (const uint8_t byte : Take(input, kind % 8)) {
            text += std::string(byte / 4U * 2, 'a') + CHARACTERS[byte % 4];
        }
        const bool isIdle = manual_time::ArmedTimers() == 0;
        const bool isRefused = isIdle && call.level > 0 && text.size() + 4 * call.level + 1 > 500;
        call.wasRefused |= isRefused;
        call.typed += isRefused ? "" : text;
        FUZZ_CHECK(call.Type(0, text) == (text.empty() ? -1 : 1));
        call.RunUntil(manual_time::Now(), isIdle);
        call.RunUntil(manual_time::Now() + kind / 8U * 50);
    }
    for (size_t ticks = (call.typed.size() + 2) * (call.level + 2); manual_time::ArmedTimers() > 0; --ticks) {
        FUZZ_CHECK(ticks > 0);
        call.RunUntil(manual_time::NextExpiry());
    }
    call.RunUntil(manual_time::Now() + (call.typed.size() + call.sent + 40) * 50);
    // Behind 16 generations a receiver finds no primary block, and unsent ones are numbered like lost ones.
    const bool isUnclear = call.level >= 16 || (call.wasRefused && call.losses != 0);
    FUZZ_CHECK(call.wire == call.typed && (call.shown == call.typed || isUnclear));
    return 0;
}
