#include "transport/CTextTransportManager.h"

#include "tests/support/TransportFixture.h"

#include <atomic>
#include <thread>

namespace {

using CTextTransportManagerSend = TransportFixture;
using CTextTransportManagerStart = TransportFixture;

char* Chars(const char* text) {
    return const_cast<char*>(text);
}

TEST_F(CTextTransportManagerSend, APayloadGoesOutBehindAHeaderWithNumbersFromOne) {
    Configure(1);
    ASSERT_EQ(1, m_pTransport->StartTransport());
    ASSERT_EQ(1, m_pTransport->StartSend());
    EXPECT_EQ(1, m_pTransport->SendText(Chars("a"), 1));
    const Bytes first = Datagram()
                            .RtpHeader(true, SEND_RED, 1, START_TICK, FIRST_SSRC)
                            .RedHeader(SEND_T140, 300, 0) // empty generation
                            .U8(SEND_T140)                // primary
                            .Text("a");
    EXPECT_EQ(first, m_Far.Receive());
    manual_time::Advance(300);
    const Bytes second = Datagram()
                             .RtpHeader(false, SEND_RED, 2, START_TICK + 300, FIRST_SSRC)
                             .RedHeader(SEND_T140, 300, 1) // "a"
                             .U8(SEND_T140)                // primary, empty
                             .Text("a");
    EXPECT_EQ(second, m_Far.Receive());

    // Payload types of RTP hold from the next packet; SSRC and level from the next start.
    stVRN_CodecInfo codec{};
    codec.nSendT140PayloadType = 110;
    codec.nSendRedPayloadType = 111;
    m_pTransport->SetSendCodec(&codec);
    EXPECT_EQ(1, m_pTransport->SendText(Chars("b"), 1));
    manual_time::Advance(300);
    const Bytes third = m_Far.Receive();
    EXPECT_EQ((Bytes{0x80, 111, 0, 3}), Bytes(third.begin(), third.begin() + 4));
    EXPECT_EQ(0x80 | SEND_T140, third.at(12));
    m_pTransport->StopTransport();
    ASSERT_EQ(1, m_pTransport->StartTransport());
    ASSERT_EQ(1, m_pTransport->StartSend());
    EXPECT_EQ(1, m_pTransport->SendText(Chars("c"), 1));
    EXPECT_EQ(static_cast<const Bytes&>(Datagram().RtpHeader(true, 110, 1, START_TICK + 600, 2 * FIRST_SSRC).Text("c")),
              m_Far.Receive());
}

TEST_F(CTextTransportManagerSend, APacketThatIsNotSentLeavesItsNumberToTheNext) {
    const char* const failed = "CTextTransportManager::PacketizeAndSend(): RTP Sendto failed";
    ASSERT_EQ(1, m_pTransport->StartTransport());
    ASSERT_EQ(1, m_pTransport->StartSend());
    m_pTransport->SendText(Chars("one"), 3);
    manual_time::Advance(300); // and an empty one
    EXPECT_EQ(1, m_Far.Receive().at(3));
    EXPECT_EQ(2, m_Far.Receive().at(3));
    const Bytes counts = Datagram().U32(2).U32(15 + 12); // packets, octets with their headers
    Bytes report = Report();
    EXPECT_EQ(counts, Bytes(report.begin() + 20, report.begin() + 28));
    EXPECT_FALSE(m_Log.Has(failed));

    // An IPv6 address on an IPv4 socket.
    m_pTransport->StopTransport();
    Configure(0, "::1");
    ASSERT_EQ(1, m_pTransport->StartTransport());
    EXPECT_EQ(1, m_pTransport->SendText(Chars("two"), 3));
    EXPECT_TRUE(m_Log.Has(failed));
    m_pTransport->StopTransport();
    Configure(0);
    ASSERT_EQ(1, m_pTransport->StartTransport());
    EXPECT_EQ(1, m_pTransport->SendText(Chars("three"), 5));
    EXPECT_EQ(3, m_Far.Receive().at(3));

    // No buffer to send from: nothing goes out and nothing is counted.
    m_Log.Clear();
    EXPECT_EQ(1, m_pTransport->StopSend());
    EXPECT_EQ(1, m_pTransport->SendText(Chars("four"), 4));
    EXPECT_TRUE(m_Log.Has(failed));
    report = Report();
    EXPECT_EQ(static_cast<const Bytes&>(Datagram().U32(1).U32(17)), Bytes(report.begin() + 20, report.begin() + 28));
    EXPECT_EQ(1, m_pTransport->StartSend());
    manual_time::Advance(300);
    EXPECT_EQ(1, m_Far.Receive().at(3)); // each StartSend begins at 1
}

TEST_F(CTextTransportManagerSend, TheLongestPayloadFillsADatagramOf1412Bytes) {
    ASSERT_EQ(1, m_pTransport->StartTransport());
    ASSERT_EQ(1, m_pTransport->StartSend());
    std::string text(1400, 't');
    EXPECT_EQ(1, m_pTransport->SendText(text.data(), 1400));
    EXPECT_EQ(static_cast<const Bytes&>(Datagram().RtpHeader(true, SEND_T140, 1, START_TICK, FIRST_SSRC).Text(text)),
              m_Far.Receive());
}

TEST_F(CTextTransportManagerStart, WhatNeedsAStartFailsWithoutOne) {
    unsigned char out[8];
    EXPECT_EQ(-1, m_pTransport->StartReceive());
    EXPECT_EQ(-1, m_pTransport->SetRtcpEnable(true));
    EXPECT_EQ(1, m_pTransport->SetRtcpEnable(false));
    EXPECT_EQ(-1, m_pTransport->SendText(Chars("a"), 1));
    EXPECT_EQ(0, m_pTransport->GetTextForDisp(out, sizeof(out)));
    EXPECT_TRUE(m_Log.Has("CTextTransportManager::GetTextForDisp():  T140 instance not created"));
    m_Log.Clear();
    m_pTransport->ProcessRecvdRTP();
    m_pTransport->ProcessRecvdRTCP();
    EXPECT_EQ((std::vector<std::string>{
                  "CTextTransportManager::ProcessRecvdRTP(): Stop Transport done: pSocketInst is NULL"}),
              m_Log.Lines());
    m_pTransport->GenerateAndSendRTCPReport();
    EXPECT_EQ(1, m_pTransport->StartSend());
    EXPECT_EQ(1, m_pTransport->StopSend());
    EXPECT_EQ(1, m_pTransport->StopReceive());
    m_Log.Clear();
    for (int stop = 0; stop < 2; ++stop) {
        EXPECT_EQ(1, m_pTransport->StopTransport());
    }
    EXPECT_EQ((std::vector<std::string>(2, "CTextTransportManager::StopTransport(): :Exit")), m_Log.Lines());
}

TEST_F(CTextTransportManagerStart, AStartThatCannotBindLeavesNothingBehindTheStop) {
    for (int taken = 0; taken < 2; ++taken) { // the RTP port, then the RTCP port
        {
            UdpPeer other(static_cast<uint16_t>(m_nPort + taken), m_sIp);
            ASSERT_TRUE(other.IsOpen());
            EXPECT_EQ(-1, m_pTransport->StartTransport());
            EXPECT_TRUE(m_Log.Has("StartTransport(): Start Recv failed - due to socket creation failure"));
            EXPECT_EQ(-1, m_pTransport->StartReceive());
            EXPECT_EQ(-1, m_pTransport->SetRtcpEnable(true));
            EXPECT_EQ(1, m_pTransport->StartSend());
            EXPECT_EQ(1, m_pTransport->SendText(Chars("a"), 1)); // a codec is there, a socket is not
            EXPECT_TRUE(m_Log.Has("RTP Sendto failed"));
            EXPECT_EQ(-1, m_pTransport->StartTransport()); // over a half-built one
            EXPECT_EQ(1, m_pTransport->StopTransport());
            EXPECT_EQ(m_nDescriptors + 1, OpenDescriptors());
            EXPECT_EQ(0U, manual_time::LiveTimers());
        }
        EXPECT_EQ(1, m_pTransport->StartTransport());
        EXPECT_EQ(1, m_pTransport->StopTransport());
    }
}

TEST_F(CTextTransportManagerStart, StartingAgainTakesTheRunningOneDownFirst) {
    for (int start = 0; start < 3; ++start) {
        ASSERT_EQ(1, m_pTransport->StartTransport());
        EXPECT_EQ(m_nDescriptors + 2, OpenDescriptors());
        EXPECT_EQ(3U, manual_time::LiveTimers()); // tick, report, time-out
        EXPECT_EQ(0U, manual_time::ArmedTimers());
        EXPECT_EQ(0, m_Receiver.SetReadFDSet()); // neither socket is watched any more
        EXPECT_EQ(1, m_pTransport->StartSend());
        EXPECT_EQ(1, m_pTransport->StartReceive());
        EXPECT_EQ(1, m_pTransport->SendText(Chars("a"), 1));
        m_Log.Clear();
        EXPECT_EQ(1, m_pTransport->SetRtcpEnable(true));
        EXPECT_TRUE(m_Log.Has("SetRtcpEnable(): SetRtcpEnable (1), isEnabled (0)"));
        EXPECT_LT(0, m_Receiver.SetReadFDSet());
    }
    m_pTransport->StopTransport();
    EXPECT_TRUE(m_Log.Has("SetRtcpEnable(): SetRtcpEnable (0), isEnabled (1)"));
}

TEST_F(CTextTransportManagerStart, TypingAndReadingGoOnWhileItStartsAndStops) {
    VRNlogLevel = 0;
    std::atomic<bool> running{true};
    const auto repeat = [&running](auto step) {
        return std::thread([&running, step] {
            while (running) {
                step();
                std::this_thread::yield();
            }
        });
    };
    std::thread typist = repeat([this] { m_pTransport->SendText(Chars("typed"), 5); });
    std::thread reader = repeat([this] {
        unsigned char out[8];
        m_Far.SendTo(m_nPort, Datagram().RtpHeader(false, RECV_T140, 1, 0, 1).Text("a"));
        m_pTransport->ProcessRecvdRTP();
        m_pTransport->ProcessRecvdRTCP();
        m_pTransport->GetTextForDisp(out, sizeof(out));
    });
    std::thread host = repeat([this] {
        Configure(2);
        m_pTransport->SetRtcpEnable(true);
        m_pTransport->SetRtcpEnable(false);
    });
    for (int round = 0; round < 400; ++round) {
        EXPECT_EQ(1, m_pTransport->StartTransport());
        EXPECT_EQ(1, m_pTransport->StartSend());
        EXPECT_EQ(1, m_pTransport->StartReceive());
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
    typist.join();
    reader.join();
    host.join();
    VRNlogLevel = 4;
}

} // namespace
