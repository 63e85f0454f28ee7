// What hosts, far ends and strangers do at any moment, decided by the seed.

#include "sim/SimulatedCall.h"
#include "tests/support/ManualTime.h"

namespace {
constexpr int DIRECTIONS[] = {0, 1, 2, 3, 3, 3, 4, 7};
constexpr int16_t TIMEOUTS[] = {0, 1, 5, 30, 300, 3000, 30000, -5};
constexpr uint32_t LEVELS[] = {0, 1, 2, 3, 5, 16, 255};
// Around those that decide about a wrap.
constexpr uint16_t NUMBERS[] = {0, 1, 29, 30, 65500, 65501, 65535};
constexpr int64_t CLOCK_STEPS[] = {-3600000, -500, 700, 3600000, 1LL << 32};
} // namespace

void SimulatedCall::DoSomethingWild() {
    m_nNextWild = m_Model.clock.now + m_Random.Between(1, 8000);
    const int channel = static_cast<int>(m_Random.Below(static_cast<uint32_t>(m_Plan.channels)));
    const uint32_t kind = m_Random.Below(100);
    if (kind < 40) {
        WildHost(channel);
    } else if (kind < 70) {
        WildFar(channel);
    } else if (kind < 95) {
        const bool rtcp = m_Random.Chance(0.3);
        for (uint32_t times = m_Random.Below(6); times > 0; --times) {
            const Bytes packet = HostilePacket(*m_Parties[static_cast<size_t>(channel)], rtcp);
            memory_network::Put(SimulatedHost::LocalPort(channel) + (rtcp ? 1 : 0), packet);
            m_Model.Put(channel, rtcp, packet);
        }
    } else {
        const int64_t step = m_Random.OneOf(CLOCK_STEPS);
        manual_time::StepWallClock(step);
        m_Model.clock.wallAtZero += step;
    }
}

void SimulatedCall::WildHost(int channel) {
    CTextControlManager& manager = m_Host.manager;
    const int direction = m_Random.OneOf(DIRECTIONS);
    const uint32_t level = m_Random.Chance(0.7) ? m_Plan.level : m_Random.OneOf(LEVELS);
    const int16_t timeout = m_Random.OneOf(TIMEOUTS);
    const bool on = m_Random.Chance(0.6);
    const uint32_t operation = m_Random.Below(9);
    if (!m_Model.Exists(channel) || operation == 7) {
        const bool exists = m_Model.Exists(channel);
        Expect(manager.DeleteChannel(channel) == 1, "a channel is deleted");
        m_Model.Delete(channel);
        if (!exists || on) {
            const int created = m_Model.Create(level);
            Expect(manager.CreateChannel() == created, "a channel is created in the first free slot");
            m_Host.Configure(created, level);
        }
        return;
    }
    int result = 1;
    int expected = 1;
    switch (operation) {
    case 0:
        result = manager.StartFDSR(channel, direction);
        expected = m_Model.Start(channel, direction);
        break;
    case 1:
        result = manager.StopFDSR(channel);
        expected = m_Model.Stop(channel);
        break;
    case 2:
    case 3:
        result = manager.SetVEStatus(channel, direction);
        expected = m_Model.Switch(channel, direction);
        break;
    case 4:
        result = manager.ReconfigIPPort(channel);
        expected = m_Model.Restart(channel);
        break;
    case 5:
        result = manager.SetRtcpCallOptions(channel, on);
        expected = m_Model.SetRtcp(channel, on);
        break;
    case 6:
        Paste(channel);
        break;
    default:
        manager.SetRtcpTimeout(channel, timeout);
        m_Model.SetRtcpTimeout(channel, timeout);
        m_Host.Configure(channel, level);
        m_Model.SetLevel(channel, level);
    }
    Expect(result == expected, "operation " + std::to_string(operation) + " of the host's is answered as it must be");
}

// More than a packet holds, more than is taken at once, more than may wait.
void SimulatedCall::Paste(int channel) {
    const uint32_t sizes[] = {480, 500, 1400, 1401, 3000, 65536, 65537};
    const uint32_t size = m_Random.OneOf(sizes);
    std::string text;
    while (text.size() + 4 < size) {
        text += m_Parties[static_cast<size_t>(channel)]->typist[0].Character();
    }
    text.resize(size, '.');
    Type(channel, 0, text);
}

void SimulatedCall::WildFar(int channel) {
    ProcessModel& far = m_Parties[static_cast<size_t>(channel)]->far;
    switch (m_Random.Below(5)) {
    case 0:
        far.Restart(0);
        break;
    case 1:
        far.Switch(0, m_Random.OneOf(DIRECTIONS));
        break;
    case 2:
        far.ssrcMask = m_Random.Below(3);
        break;
    case 3:
        far.SetRtcp(0, m_Random.Chance(0.6));
        break;
    default:
        far.SetLevel(0, m_Random.OneOf(LEVELS));
        far.Start(0, 3);
    }
}

// Random bytes, or a packet of the far end's with another number, a few bytes changed or its end cut.
Bytes SimulatedCall::HostilePacket(const Party& party, bool rtcp) {
    Bytes packet = party.lastFarPacket;
    if (rtcp || packet.empty() || m_Random.Chance(0.3)) {
        packet.resize(m_Random.Chance(0.1) ? 1600 : m_Random.Below(80));
        for (uint8_t& byte : packet) {
            byte = static_cast<uint8_t>(m_Random.Bits());
        }
        if (packet.size() >= 2 && m_Random.Chance(0.8)) {
            packet[0] = 0x80 | packet[0] % 64;
            packet[1] =
                static_cast<uint8_t>(rtcp ? m_Random.Between(199, 203) : m_Random.Between(SIM_RECV_T140, SIM_RECV_RED));
        }
        return packet;
    }
    if (m_Random.Chance(0.25)) {
        const uint16_t number = m_Random.OneOf(NUMBERS);
        packet[2] = static_cast<uint8_t>(number >> 8);
        packet[3] = static_cast<uint8_t>(number);
        return packet;
    }
    for (uint32_t changes = m_Random.Below(4); changes > 0; --changes) {
        packet[m_Random.Below(static_cast<uint32_t>(packet.size()))] = static_cast<uint8_t>(m_Random.Bits());
    }
    if (m_Random.Chance(0.3)) {
        packet.resize(m_Random.Below(static_cast<uint32_t>(packet.size()) + 1));
    }
    return packet;
}
