// A transport on loopback with a far end of raw UDP, its clock moved by hand.
#ifndef TESTS_SUPPORT_TRANSPORT_FIXTURE_H
#define TESTS_SUPPORT_TRANSPORT_FIXTURE_H

#include "net/NetworkRecv.h"
#include "tests/support/LogCapture.h"
#include "tests/support/ManualTime.h"
#include "tests/support/UdpPeer.h"
#include "transport/CTextTransportManager.h"

#include <gtest/gtest.h>
#include <memory>

// The codec settings that the fixture gives the transport.
constexpr uint32_t SEND_T140 = 96;
constexpr uint32_t SEND_RED = 97;
constexpr uint32_t RECV_T140 = 98;
constexpr uint32_t RECV_RED = 99;
constexpr unsigned SESSION = 2;
constexpr uint32_t START_TICK = 100000;
constexpr uint32_t FIRST_SSRC = 0x11111111; // what the clock unit's generator gives first

// Descriptors that the process has open.
size_t OpenDescriptors();

// Each test ends with the transport stopped and deleted; then no descriptor and no timer may be left.
class TransportFixture : public ::testing::Test {
protected:
    TransportFixture();
    ~TransportFixture() override;

    // A transport that has never been started in the place of this one.
    void Renew();

    // Settings hold from the next start. Without an address packets go to the far end.
    void Configure(uint32_t redLevel, const char* remoteIp = nullptr);

    // Gives the transport a datagram and lets it read it.
    void Deliver(const Bytes& datagram);
    void DeliverRtcp(const Bytes& datagram);

    // Everything that playout has ready, a character a call.
    std::string Text();

    // The report that the transport sends now.
    Bytes Report();

    // How often the handler was called with event 2.
    static int Timeouts();

    LogCapture m_Log;
    const std::string m_sIp; // of this process alone: no datagram of another one gets in between
    const uint16_t m_nPort;  // the transport's; RTCP is the next one
    const uint16_t m_nFarPort;
    UdpPeer m_Far;
    UdpPeer m_FarRtcp;
    NetworkRecv m_Receiver; // not started: tests say when a socket is read
    std::unique_ptr<CTextTransportManager> m_pTransport;
    size_t m_nDescriptors;
};

#endif
