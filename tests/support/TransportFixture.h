// A transport on loopback with a far end of raw UDP, its clock moved by hand.
#ifndef TESTS_SUPPORT_TRANSPORT_FIXTURE_H
#define TESTS_SUPPORT_TRANSPORT_FIXTURE_H

#include "net/NetworkRecv.h"
#include "tests/support/LogCapture.h"
#include "tests/support/ManualTime.h"
#include "tests/support/UdpPeer.h"
#include "transport/CTextTransportManager.h"
#include "util/VRNClock.h"

#include <algorithm>
#include <arpa/inet.h>
#include <filesystem>
#include <gtest/gtest.h>
#include <memory>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

// The codec settings that the fixture gives the transport.
constexpr uint32_t SEND_T140 = 96;
constexpr uint32_t SEND_RED = 97;
constexpr uint32_t RECV_T140 = 98;
constexpr uint32_t RECV_RED = 99;
constexpr int SESSION = 2;
constexpr uint32_t START_TICK = 100000;
constexpr uint32_t FIRST_SSRC = 0x11111111; // what the clock unit's generator gives first

// Each test ends with the transport stopped and deleted; then no descriptor and no timer may be left.
class TransportFixture : public ::testing::Test {
protected:
    TransportFixture() { Renew(); }

    ~TransportFixture() override {
        m_pTransport->StopTransport();
        EXPECT_EQ(m_nDescriptors, OpenDescriptors());
        EXPECT_EQ(0U, manual_time::LiveTimers());
        EXPECT_EQ(0, m_Receiver.SetReadFDSet()) << "a closed socket is still watched";
    }

    // A transport that has never been started in the place of this one.
    void Renew() {
        m_pTransport = nullptr;
        manual_time::Reset();
        manual_time::SetTick(START_TICK);
        s_Timeouts.clear();
        m_pTransport = std::make_unique<CTextTransportManager>();
        m_pTransport->SetNetworkRecvInstance(&m_Receiver);
        m_pTransport->SetSessionParams(SESSION, [](int channel, int event, void*) {
            EXPECT_TRUE(channel == SESSION && event == VRN_EVENT_RTCP_TIMEOUT);
            s_Timeouts.push_back(VRNGetTickCount());
        });
        m_pTransport->SetDirection(VRN_CHANNEL_SENDRECV);
        m_pTransport->SetRecvConnection(m_sIp.c_str(), m_nPort);
        Configure(0, m_sIp);
    }

    // Settings hold from the next start.
    void Configure(uint32_t redLevel, const std::string& remoteIp) {
        stVRN_CodecInfo codec = {{}, RECV_T140, RECV_RED, SEND_T140, SEND_RED, redLevel};
        m_pTransport->SetSendCodec(&codec);
        m_pTransport->SetSendConnection(remoteIp.c_str(), m_nFarPort);
    }

    void Start() {
        ASSERT_EQ(1, m_pTransport->StartTransport());
        ASSERT_EQ(1, m_pTransport->StartSend());
        ASSERT_EQ(1, m_pTransport->StartReceive());
    }

    int Type(std::string text) { return m_pTransport->SendText(text.data(), static_cast<unsigned>(text.size())); }

    // Gives the transport's RTP or RTCP socket a datagram and lets both be read.
    void Deliver(const Bytes& datagram, int port) {
        m_Far.SendTo(static_cast<uint16_t>(port), datagram);
        WaitReadable(port);
        m_pTransport->ProcessRecvdRTP();
        m_pTransport->ProcessRecvdRTCP();
    }

    // Everything that playout has ready.
    std::string Text() {
        std::string text;
        char out[100] = {};
        while (const int length = m_pTransport->GetTextForDisp(reinterpret_cast<uint8_t*>(out), sizeof(out))) {
            text.append(out, std::min(sizeof(out), static_cast<size_t>(length)));
        }
        return text;
    }

    // Bytes of the report that the transport sends now.
    Bytes Report(long from, long to) {
        m_pTransport->GenerateAndSendRTCPReport();
        Bytes report = m_FarRtcp.Receive();
        report.resize(RTCP_BUFFER_SIZE);
        return {report.begin() + from, report.begin() + to};
    }

    static size_t OpenDescriptors() {
        const std::filesystem::directory_iterator descriptors("/proc/self/fd");
        return static_cast<size_t>(std::distance(begin(descriptors), end(descriptors)));
    }

    LogCapture m_Log;
    // Of this process alone: no datagram of another one gets in between.
    const std::string m_sIp = "127.1." + std::to_string(getpid() / 256 % 256) + "." + std::to_string(getpid() % 256);
    const uint16_t m_nPort = FreePortPair(m_sIp); // the transport's; RTCP is the next one
    const uint16_t m_nFarPort = FreePortPair(m_sIp);
    UdpPeer m_Far{m_nFarPort, m_sIp};
    UdpPeer m_FarRtcp{static_cast<uint16_t>(m_nFarPort + 1), m_sIp};
    NetworkRecv m_Receiver; // not started: tests say when a socket is read
    const size_t m_nDescriptors = OpenDescriptors();
    std::unique_ptr<CTextTransportManager> m_pTransport;
    static inline std::vector<uint32_t> s_Timeouts; // the ticks of the events

private:
    // Waits until the socket bound to this port has a datagram.
    static void WaitReadable(int port) {
        sockaddr_in bound{};
        int fd = -1;
        while (ntohs(bound.sin_port) != port) {
            socklen_t length = sizeof(bound);
            ASSERT_GT(256, ++fd) << "no socket on port " << port;
            getsockname(fd, reinterpret_cast<sockaddr*>(&bound), &length);
        }
        pollfd readable = {fd, POLLIN, 0};
        ASSERT_EQ(1, poll(&readable, 1, 10000));
    }
};

#endif
