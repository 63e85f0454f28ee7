// The receive path: RTP and RTCP datagrams, built and raw, with times between them, into a started channel. What the
// host is handed is text that was received, no character of it more often, and counts of packets that a stream can lack.
#include "fuzz/Fuzz.h"
#include "sim/SimulatedHost.h"
#include "tests/support/ManualTime.h"

// An RTP packet of so many RED blocks; plain text without any.
static Bytes Packet(ByteReader& input, uint32_t seq, uint32_t blocks) {
    const uint8_t flags = input.U8();
    Datagram packet = Datagram().RtpHeader(flags % 2, blocks > 0 ? SIM_RECV_RED : SIM_RECV_T140, seq, 0, flags / 64U);
    size_t length = flags % 64;
    for (uint32_t i = 1; i < blocks; ++i) {
        const uint8_t block = input.U8() % 8;
        packet.RedHeader(SIM_RECV_T140, i * 300, block);
        length += block;
    }
    const Bytes text = Take(input, length);
    return packet.Text(std::string(blocks > 0 ? 1 : 0, SIM_RECV_T140)).Text({text.begin(), text.end()});
}

struct Judge {
    uint64_t datagrams = 0, lost = 0, timeouts = 0;
    size_t received[256] = {}, shown[256] = {}; // by byte; shown: by the first byte of a character

    void operator()(const SimEvent& event) {
        if (event.id == VRN_EVENT_RTCP_TIMEOUT) {
            FUZZ_CHECK(++timeouts == 1);
        } else if (event.text[0] == '\xFD' && (event.length != 6 || event.text[1] == '\xFF')) {
            FUZZ_CHECK(event.length != 0 && event.length >= -17); // below 0: a start at number 0 with 16 generations
            FUZZ_CHECK((lost += std::max(event.length, 0)) <= 65536 * (datagrams + 1)); // a wrap for each at most
        } else {
            const Bytes text(event.text.begin(), event.text.end());
            FUZZ_CHECK(event.length >= 1 && event.length <= 6 && ++shown[text[0]] <= received[text[0]]);
            FUZZ_CHECK(std::all_of(text.begin(), text.end(),
                                   [this](uint8_t byte) { return byte == 0 || received[byte] > 0; }));
        }
    }
};

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    ByteReader input(data, size);
    const uint8_t mode = TakeMode(input);
    SimulatedHost host;
    host.manager.CreateChannel();
    host.Configure(0, input.U8());
    manual_time::SetTick((mode & 1) != 0 ? 0xFFFFF000 : 0);
    host.manager.StartFDSR(0, (mode & 2) != 0 ? VRN_CHANNEL_RECVONLY : VRN_CHANNEL_SENDRECV);
    host.SkipTo((mode & 4) != 0 ? 3000 : 0);
    host.manager.SetRtcpTimeout(0, static_cast<short>(input.U8() - 1));
    host.manager.SetRtcpCallOptions(0, (mode & 8) != 0);
    uint32_t seq = (mode & 16) != 0 ? 65500 : 0;
    Judge judge;
    while (HasMore(input) && ++judge.datagrams < 100) {
        const uint8_t kind = input.U8(), given = input.U8(); // the size of raw ones, or how far the numbers move
        seq += static_cast<uint32_t>(static_cast<int8_t>(kind % 16 > 1 ? given : 0));
        Bytes datagram = kind % 16 > 1 ? Packet(input, seq, kind / 8U % 20) : Take(input, kind == 0xF0 ? 12 : given);
        datagram.resize(kind == 0xF0 ? given * 6U : datagram.size(), 0xFC); // up to more than the engine reads
        memory_network::Put(SimulatedHost::LocalPort(0) + (kind % 16 == 1), datagram);
        std::for_each(datagram.begin() + std::min<long>(12, datagram.end() - datagram.begin()), datagram.end(),
                      [&judge](uint8_t byte) { ++judge.received[byte]; });
        host.RunUntil(manual_time::Now() + input.U8() * 8U);
        const std::vector<SimEvent> events = host.TakeEvents();
        judge = std::for_each(events.begin(), events.end(), judge);
    }
    return 0;
}
