// A host of the engine, as tests are one: the engine made ready once a process, its events kept, far ends to talk to.
#ifndef TESTS_SUPPORT_HOST_FIXTURE_H
#define TESTS_SUPPORT_HOST_FIXTURE_H

#include "api/CorvaneTextEngineClient.h"
#include "tests/support/LogCapture.h"
#include "tests/support/UdpPeer.h"
#include "tests/support/WaitUntil.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstddef>
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
const std::string& OwnLoopback();

// The other side of one channel: raw RTP and RTCP sockets, and the pair of ports that the channel is to take.
class FarEnd {
public:
    explicit FarEnd(const std::string& ip = OwnLoopback());

    void SendPlain(uint32_t seq, const std::string& text, uint32_t ssrc = FAR_SSRC);
    // RED: the generations, oldest first, and the new text.
    void SendRed(uint32_t seq, const std::vector<std::string>& generations, const std::string& text);
    // An RTCP packet of 32 bytes: a receiver report (201), or one of another type.
    void SendRtcp(uint32_t type = 201);

    const std::string ip;
    UdpPeer rtp;
    UdpPeer rtcp;
    const uint16_t enginePort;

private:
    explicit FarEnd(const std::string& address, uint16_t port);
};

// What a handler was called with, and which handler it was.
struct HostEvent {
    int channel;
    int id;
    std::string text; // event 1: up to the terminating NUL
    int length;
    int handler;
};

// Handlers that keep the event, under their number, and then run what OnEvent set.
void FirstHandler(int channel, int event, void* data);
void SecondHandler(int channel, int event, void* data);

class HostTest : public testing::Test {
protected:
    // Sets FirstHandler. A test that hangs ends the program.
    HostTest();
    // Deletes every channel.
    ~HostTest() override;

    // A channel set up for the far end; and started as well.
    int Create(const FarEnd& far, uint32_t level = 2);
    int Open(const FarEnd& far, int direction, uint32_t level = 2);
    void Configure(int channel, const FarEnd& far, uint32_t level);
    int Type(int channel, const std::string& text);
    // Lets a started channel's silence grow past one second and has the engine look.
    void RaiseTimeout(int channel);

    // Runs inside the handlers, on their thread. What it refers to must outlive the test's channels.
    static void OnEvent(std::function<void(int channel, int event)> action);
    static std::vector<HostEvent> Events(int id);
    // The text of a channel's events 1 so far.
    static std::string Shown(int channel);

    CorvaneTextEngineClient& engine;
};

void SetLogLevel(int level);
uint32_t Read32(const Bytes& bytes, size_t at);

// What VRN_Init, called once a process, returned and logged.
struct FirstInit {
    int result;
    std::vector<std::string> lines;
};
const FirstInit& InitOnce();

// Whether the lines are those of the pattern, one a line, in which `*` stands for any text.
testing::AssertionResult LinesMatch(const std::string& pattern, const std::vector<std::string>& lines);

// What the process holds of the system.
struct Resources {
    size_t descriptors;
    size_t threads;
    size_t timers;
};
// Counts once the threads of timers that have run are gone.
Resources CountResources();
// Waits for the process to hold no more than that again.
testing::AssertionResult HoldsNoMoreThan(const Resources& before);

// Damaged and foreign datagrams, sent from a thread of its own while it lives.
class Flood {
public:
    explicit Flood(const std::vector<uint16_t>& ports);
    ~Flood();
    Flood(const Flood&) = delete;
    Flood& operator=(const Flood&) = delete;

private:
    std::atomic<bool> m_bRunning{true};
    std::thread m_Thread;
};

#endif
