#include "tests/support/TransportFixture.h"
#include "util/VRNLog.h"

#include <atomic>
#include <functional>
#include <thread>

namespace {

using CTextTransportManagerSend = TransportFixture;
using CTextTransportManagerStart = TransportFixture;

TEST_F(CTextTransportManagerSend, APayloadGoesOutBehindAHeaderWithNumbersFromOne) {
    Configure(1, m_sIp);
    Start();
    EXPECT_EQ(1, Type("a"));
    const Datagram first = Datagram().RtpHeader(true, SEND_RED, 1, START_TICK, FIRST_SSRC);
    EXPECT_EQ(Bytes(Datagram(first).RedHeader(SEND_T140, 300, 0).U8(SEND_T140).Text("a")), m_Far.Receive());
    // Payload types of RTP hold from the next packet; SSRC, the blocks' and the level from the next start.
    stVRN_CodecInfo codec = {{}, RECV_T140, RECV_RED, 110, 111, 0};
    m_pTransport->SetSendCodec(&codec);
    manual_time::Advance(300);
    const Datagram second = Datagram().RtpHeader(false, 111, 2, START_TICK + 300, FIRST_SSRC);
    EXPECT_EQ(Bytes(Datagram(second).RedHeader(SEND_T140, 300, 1).U8(SEND_T140).Text("a")), m_Far.Receive());
    const Bytes counts = Datagram().U32(2).U32(2 * (12 + 4 + 1 + 1)); // packets, octets with their headers
    EXPECT_EQ(counts, Report(20, 28));
    Start();
    const std::string longest(1400, 't');
    EXPECT_EQ(1, Type(longest));
    const Bytes third = Datagram().RtpHeader(true, 110, 1, START_TICK + 300, 2 * FIRST_SSRC).Text(longest);
    EXPECT_EQ(third, m_Far.Receive());
}

TEST_F(CTextTransportManagerSend, APacketThatIsNotSentLeavesItsNumberToTheNext) {
    Start();
    Type("one");
    EXPECT_EQ(1, m_Far.Receive().at(3));
    for (const std::string& ip : {std::string("::1"), m_sIp}) { // no way there from an IPv4 socket, and then one
        Configure(0, ip);
        ASSERT_EQ(1, m_pTransport->StartTransport());
        EXPECT_EQ(1, Type("two"));
    }
    EXPECT_EQ(2, m_Far.Receive().at(3));
    EXPECT_EQ(1, m_pTransport->StopSend()); // no buffer to send from: nothing goes out and nothing is counted
    EXPECT_EQ(1, Type("three"));
    EXPECT_EQ(static_cast<const Bytes&>(Datagram().U32(1).U32(15)), Report(20, 28));
    EXPECT_EQ(1, m_pTransport->StartSend());
    manual_time::Advance(300);
    EXPECT_EQ(1, m_Far.Receive().at(3)); // each StartSend begins at 1
}

TEST_F(CTextTransportManagerStart, WhatNeedsAStartFailsWithoutOneAndOverAHalfBuiltOne) {
    for (int taken : {-1, 0, 1}) { // none, the RTP port, the RTCP port
        UdpPeer other(static_cast<uint16_t>(taken < 0 ? 0 : m_nPort + taken), m_sIp);
        for (int start = 0; start < 2 && taken >= 0; ++start) {
            EXPECT_EQ(-1, m_pTransport->StartTransport());
        }
        uint8_t out[8];
        EXPECT_EQ(-1, m_pTransport->StartReceive());
        EXPECT_EQ(-1, m_pTransport->SetRtcpEnable(true));
        EXPECT_EQ(1, m_pTransport->SetRtcpEnable(false));
        EXPECT_EQ(1, m_pTransport->StartSend());
        EXPECT_EQ(taken < 0 ? -1 : 1, Type("a")); // half built, a codec is there, a socket is not
        EXPECT_EQ(0, m_pTransport->GetTextForDisp(out, sizeof(out)));
        m_pTransport->ProcessRecvdRTP();
        m_pTransport->ProcessRecvdRTCP();
        m_pTransport->GenerateAndSendRTCPReport();
        EXPECT_EQ(1, m_pTransport->StopSend());
        EXPECT_EQ(1, m_pTransport->StopReceive());
        for (int stop = 0; stop < 2; ++stop) {
            EXPECT_EQ(1, m_pTransport->StopTransport());
        }
        EXPECT_EQ(m_nDescriptors + 1, OpenDescriptors());
        EXPECT_EQ(0U, manual_time::LiveTimers());
    }
}

TEST_F(CTextTransportManagerStart, StartingAgainTakesTheRunningOneDownFirst) {
    for (int start = 0; start < 3; ++start) {
        ASSERT_EQ(1, m_pTransport->StartTransport());
        EXPECT_EQ(m_nDescriptors + 2, OpenDescriptors());
        EXPECT_EQ(3U, manual_time::LiveTimers()); // tick, report, time-out
        EXPECT_EQ(0U, manual_time::ArmedTimers());
        EXPECT_EQ(0, m_Receiver.SetReadFDSet()); // neither socket is watched any more
        Start();
        EXPECT_EQ(1, Type("a"));
        EXPECT_EQ(1, m_pTransport->SetRtcpEnable(true));
        EXPECT_LT(1U, manual_time::ArmedTimers());
    }
    m_pTransport->StopTransport();
    EXPECT_EQ(-1, m_pTransport->StartReceive());
}

TEST_F(CTextTransportManagerStart, TypingAndReadingGoOnWhileItStartsAndStops) {
    VRNlogLevel = 0;
    std::atomic<bool> running{true};
    const std::function<void()> steps[] = {
        [this] { Type("typed"); },
        [this] {
            m_Far.SendTo(m_nPort, Datagram().RtpHeader(false, RECV_T140, 1, 0, 1).Text("a"));
            m_pTransport->ProcessRecvdRTP();
            m_pTransport->ProcessRecvdRTCP();
            Text();
        },
        [this] {
            Configure(2, m_sIp);
            m_pTransport->SetRtcpEnable(true);
            m_pTransport->SetRtcpEnable(false);
        },
    };
    std::vector<std::thread> threads;
    for (const auto& step : steps) {
        threads.emplace_back([&running, &step] {
            while (running) {
                step();
                std::this_thread::yield();
            }
        });
    }
    for (int round = 0; round < 400; ++round) {
        Start();
        manual_time::Advance(2000);
        if (round % 3 == 0) {
            EXPECT_EQ(1, m_pTransport->StopSend());
            EXPECT_EQ(1, m_pTransport->StopReceive());
        }
        if (round % 2 == 0) {
            EXPECT_EQ(1, m_pTransport->StopTransport());
        }
    }
    running = false;
    for (std::thread& thread : threads) {
        thread.join();
    }
    VRNlogLevel = 4;
}

} // namespace
