#include "tests/support/TransportFixture.h"

#include <arpa/inet.h>
#include <filesystem>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

constexpr int READABLE_LIMIT_MS = 10000;

int s_nTimeouts = 0;

void OnEvent(int channel, int event, void* data) {
    EXPECT_EQ(static_cast<int>(SESSION), channel);
    EXPECT_EQ(VRN_EVENT_RTCP_TIMEOUT, event);
    EXPECT_EQ(nullptr, data);
    ++s_nTimeouts;
}

// One of 127.1.0.0 to 127.64.255.255, by the process id.
std::string OwnLoopbackAddress() {
    const unsigned pid = static_cast<unsigned>(getpid());
    return "127." + std::to_string(1 + (pid >> 16) % 64) + "." + std::to_string(pid >> 8 & 255) + "." +
           std::to_string(pid & 255);
}

// Waits until the socket bound to this port has a datagram.
void WaitReadable(uint16_t port) {
    for (int fd = 0; fd < 256; ++fd) {
        sockaddr_in bound{};
        socklen_t length = sizeof(bound);
        if (getsockname(fd, reinterpret_cast<sockaddr*>(&bound), &length) == 0 && bound.sin_family == AF_INET &&
            ntohs(bound.sin_port) == port) {
            pollfd readable = {fd, POLLIN, 0};
            EXPECT_EQ(1, poll(&readable, 1, READABLE_LIMIT_MS));
            return;
        }
    }
    ADD_FAILURE() << "no socket on port " << port;
}

} // namespace

size_t OpenDescriptors() {
    const std::filesystem::directory_iterator descriptors("/proc/self/fd");
    return static_cast<size_t>(std::distance(begin(descriptors), end(descriptors)));
}

TransportFixture::TransportFixture()
    : m_sIp(OwnLoopbackAddress()), m_nPort(FreePortPair(m_sIp)), m_nFarPort(FreePortPair(m_sIp)),
      m_Far(m_nFarPort, m_sIp), m_FarRtcp(static_cast<uint16_t>(m_nFarPort + 1), m_sIp),
      m_nDescriptors(OpenDescriptors()) {
    Renew();
}

void TransportFixture::Renew() {
    if (m_pTransport != nullptr) {
        m_pTransport->StopTransport();
    }
    manual_time::Reset();
    manual_time::SetTick(START_TICK);
    s_nTimeouts = 0;
    m_Log.Clear();
    m_pTransport = std::make_unique<CTextTransportManager>();
    m_pTransport->SetNetworkRecvInstance(&m_Receiver);
    m_pTransport->SetSessionParams(SESSION, OnEvent);
    m_pTransport->SetDirection(VRN_CHANNEL_SENDRECV);
    m_pTransport->SetRecvConnection(m_sIp.c_str(), m_nPort);
    Configure(0);
}

TransportFixture::~TransportFixture() {
    m_pTransport->StopTransport();
    EXPECT_EQ(m_nDescriptors, OpenDescriptors());
    EXPECT_EQ(0U, manual_time::LiveTimers());
    EXPECT_EQ(0, m_Receiver.SetReadFDSet()) << "a closed socket is still watched";
}

void TransportFixture::Configure(uint32_t redLevel, const char* remoteIp) {
    stVRN_CodecInfo codec{};
    codec.nRecvT140PayloadType = RECV_T140;
    codec.nRecvRedPayloadType = RECV_RED;
    codec.nSendT140PayloadType = SEND_T140;
    codec.nSendRedPayloadType = SEND_RED;
    codec.nRedundancyLevel = redLevel;
    m_pTransport->SetSendCodec(&codec);
    m_pTransport->SetSendConnection(remoteIp != nullptr ? remoteIp : m_sIp.c_str(), m_nFarPort);
}

void TransportFixture::Deliver(const Bytes& datagram) {
    m_Far.SendTo(m_nPort, datagram);
    WaitReadable(m_nPort);
    m_pTransport->ProcessRecvdRTP();
}

void TransportFixture::DeliverRtcp(const Bytes& datagram) {
    m_FarRtcp.SendTo(static_cast<uint16_t>(m_nPort + 1), datagram);
    WaitReadable(static_cast<uint16_t>(m_nPort + 1));
    m_pTransport->ProcessRecvdRTCP();
}

std::string TransportFixture::Text() {
    std::string text;
    unsigned char out[100];
    for (int n = m_pTransport->GetTextForDisp(out, sizeof(out)); n != 0;
         n = m_pTransport->GetTextForDisp(out, sizeof(out))) {
        const bool isLoss = out[0] == 0xFD && out[1] == 0xFF;
        text += isLoss ? "<lost " + std::to_string(n) + ">" : std::string(out, out + n);
    }
    return text;
}

Bytes TransportFixture::Report() {
    m_pTransport->GenerateAndSendRTCPReport();
    return m_FarRtcp.Receive();
}

int TransportFixture::Timeouts() {
    return s_nTimeouts;
}
