#include "sim/model/RtcpModel.h"

#include <algorithm>

namespace {
constexpr uint64_t REPORT_MS = 2000;
constexpr size_t MOST_READ = 200;
constexpr uint32_t SENDER_REPORT = 200;
constexpr uint32_t RECEIVER_REPORT = 201;
constexpr uint64_t FROM_1900_TO_1970 = 2208988800;
} // namespace

void RtcpModel::Start() {
    m_Buffer.assign(MOST_READ, 0);
    m_nArrived = m_Clock.Tick();
    m_nSrArrived = 0;
    m_nCount = 1;
}

void RtcpModel::Enable() {
    m_bEnabled = true;
    reportDue = m_Clock.now + REPORT_MS;
    ArmCheck(0);
}

void RtcpModel::Disable() {
    m_bEnabled = false;
    reportDue = checkDue = NEVER;
}

// Seconds less milliseconds, taken as milliseconds; kept so. Nothing comes of 0 and less.
void RtcpModel::ArmCheck(int16_t elapsed) {
    const int duration = timeout - elapsed;
    checkDue = duration > 0 ? m_Clock.now + static_cast<uint64_t>(duration) : NEVER;
}

bool RtcpModel::Check() {
    checkDue = NEVER;
    const uint32_t silence = m_Clock.Tick() - m_nArrived;
    const uint32_t tolerated = static_cast<uint32_t>(static_cast<int32_t>(timeout)) * 1000U;
    if (silence > tolerated) {
        return true;
    }
    ArmCheck(static_cast<int16_t>(silence));
    return false;
}

void RtcpModel::Receive(const Bytes& datagram) {
    std::copy_n(datagram.begin(), std::min(datagram.size(), MOST_READ), m_Buffer.begin());
    const uint32_t type = m_Buffer[1];
    if (datagram.empty() || m_Buffer[0] / 64 != 2 || (type != SENDER_REPORT && type != RECEIVER_REPORT)) {
        return;
    }
    m_nArrived = m_Clock.Tick();
    m_nFarSsrc = ReadU32(m_Buffer, 4);
    if (type == SENDER_REPORT) {
        m_nSrArrived = m_nArrived;
        m_nFarNtp[0] = ReadU32(m_Buffer, 8);
        m_nFarNtp[1] = ReadU32(m_Buffer, 12);
    }
}

Bytes RtcpModel::Report(bool sends, const SentCounts& sent, ReceiverModel& received) {
    reportDue = m_Clock.now + REPORT_MS;
    const bool hasBlock = !sends || received.newData;
    m_nCount = sends ? (received.newData ? 1 : 0) : m_nCount;
    received.newData = false;
    Datagram report;
    report.U8(0x80 + m_nCount);
    if (sends) {
        const uint64_t wall = m_Clock.Wall();
        report.U8(SENDER_REPORT).U16(6 + 6 * m_nCount).U32(sent.ssrc);
        report.U32(static_cast<uint32_t>(wall / 1000 + FROM_1900_TO_1970));
        report.U32(static_cast<uint32_t>((wall % 1000 << 32) / 1000));
        report.U32(m_Clock.Tick()).U32(sent.packets).U32(sent.octets);
    } else {
        report.U8(RECEIVER_REPORT).U16(1 + 6 * m_nCount).U32(sent.ssrc); // kept: a count of 0 with a block all the same
    }
    if (hasBlock) {
        AddBlock(report, received);
    }
    return report;
}

void RtcpModel::AddBlock(Datagram& report, const ReceiverModel& received) {
    const uint32_t expected = received.highest + 1 - received.base;
    const uint32_t due = expected - m_nExpectedBefore;
    const uint32_t came = received.accepted - m_nReceivedBefore;
    const bool fewer = static_cast<int32_t>(expected - received.accepted) < 0;
    m_nExpectedBefore = expected;
    m_nReceivedBefore = received.accepted;
    const uint32_t delay = m_nSrArrived == 0 ? 0 : ((m_Clock.Tick() - m_nSrArrived) << 16) / 1000;
    report.U32(m_nFarSsrc)
        .U8(due > came && !fewer ? (due - came) * 256 / due : 0)
        .U8((expected - received.accepted) >> 16)
        .U16(expected - received.accepted)
        .U32(received.highest)
        .U32(0) // jitter, of which no estimate is kept
        .U32(m_nFarNtp[0] << 16 | m_nFarNtp[1] >> 16)
        .U32(delay);
}
