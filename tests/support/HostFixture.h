// A host of the engine, as tests are one: the engine made ready once a process, its events kept, far ends to talk to.
#ifndef TESTS_SUPPORT_HOST_FIXTURE_H
#define TESTS_SUPPORT_HOST_FIXTURE_H

#include "api/CorvaneTextEngineClient.h"
#include "tests/support/LogCapture.h"
#include "tests/support/UdpPeer.h"
#include "tests/support/WaitUntil.h"

#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <string>
#include <thread>
#include <vector>

// Four payload types that differ, so that none can stand in for another.
constexpr uint32_t SEND_T140 = 98;
constexpr uint32_t SEND_RED = 99;
constexpr uint32_t RECV_T140 = 100;
constexpr uint32_t RECV_RED = 101;
constexpr uint32_t FAR_SSRC = 0x01020304;

// Silence that a time-out of one second has noticed, however it rounds.
constexpr unsigned SILENCE_US = 1100000;

// A loopback address that no other process of the tests uses, so that none takes a port this one has chosen.
std::string OwnLoopback();

// The other side of one channel: raw RTP and RTCP sockets, and the pair of ports that the channel is to take.
struct FarEnd {
    void SendPlain(uint32_t seq, const std::string& text, uint32_t ssrc = FAR_SSRC);
    // Two generations, the older first, and the new text.
    void SendRed(uint32_t seq, const std::string& older, const std::string& newer, const std::string& text);

    const std::string ip = OwnLoopback();
    const uint16_t port = FreePortPair(ip);
    UdpPeer rtp{port, ip};
    UdpPeer rtcp{static_cast<uint16_t>(port + 1), ip};
    const uint16_t enginePort = FreePortPair(ip);
};

// What the handler was called with.
struct HostEvent {
    int channel;
    int id;
    std::string text; // event 1: up to the terminating NUL
    int length;
};

class HostTest : public testing::Test {
protected:
    // Sets a handler that keeps the event and then runs what OnEvent set. A test that hangs ends the program.
    HostTest();
    // Deletes every channel.
    void TearDown() override;

    void Configure(int channel, const FarEnd& far, uint32_t level = 2);
    // A channel that is set up and started.
    int Open(const FarEnd& far, int direction = VRN_CHANNEL_SENDRECV, uint32_t level = 2);
    int Type(int channel, const std::string& text);
    // Switches RTCP on anew, with a time-out of one second: one that is due is raised at once.
    void CheckSilence(int channel);

    // Runs inside the handlers, on their thread. What it refers to must outlive the test's channels.
    static void OnEvent(std::function<void(int channel, int event)> action);
    static std::vector<HostEvent> Events(int id);
    // The text of a channel's events 1 so far.
    static std::string Shown(int channel);

    CorvaneTextEngineClient& engine;
};

uint32_t Read32(const Bytes& bytes, size_t at);

// Repeats an action on a thread of its own while it lives.
class Repeating {
public:
    explicit Repeating(const std::function<void()>& action)
        : m_Thread([this, action] {
              while (m_bRunning) {
                  action();
              }
          }) {}
    ~Repeating() {
        m_bRunning = false;
        m_Thread.join();
    }

private:
    std::atomic<bool> m_bRunning{true};
    std::thread m_Thread;
};

// Sends damaged and foreign datagrams to the engine's ports of these far ends, again and again.
std::function<void()> HostileFire(const std::vector<const FarEnd*>& ends);

#endif
