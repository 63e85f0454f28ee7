#include "net/NetworkRecv.h"

#include "control/CTextControlManager.h"
#include "net/CSocket.h"
#include "tests/support/LogCapture.h"
#include "tests/support/ManagerStub.h"
#include "tests/support/UdpPeer.h"
#include "tests/support/WaitUntil.h"

#include <gtest/gtest.h>

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

constexpr auto WELL_BEFORE_TIMEOUT = 1000ms; // of select, 1.3 s
const std::string WAITING = "NetworkRecvRunnable::Run(): No socket Registered, waiting for socket register";

struct BoundSocket : CSocket {
    explicit BoundSocket(uint16_t port = FreePortPair()) : m_nPort(port) {
        SockAddr addr{};
        EXPECT_EQ(1, Create(std::string("127.0.0.1").data(), static_cast<short>(port), 0, addr));
    }
    ~BoundSocket() { Close(); }
    void MakeReadable() { UdpPeer().SendTo(m_nPort, {1}); }
    const uint16_t m_nPort;
};

class NetworkRecvTest : public ::testing::Test {
protected:
    NetworkRecvTest() {
        manager_stub::Reset();
        m_Receiver.SetControlManagerHandle(&m_Manager);
    }
    void Register(BoundSocket& socket) { EXPECT_EQ(1, m_Receiver.RegisterSocket(socket.GetSockFd(), socket.Info())); }
    // Until the thread is in a select, or about to, that includes the socket.
    void WaitForSelectOn(BoundSocket& socket) {
        const std::string line = "maxfd:" + std::to_string(socket.GetSockFd());
        EXPECT_TRUE(WaitUntil([&] { return m_Log.Has(line); }));
        std::this_thread::sleep_for(2ms);
    }
    void StopAtOnce() {
        std::this_thread::sleep_for(50ms); // past the pause after a report
        const auto start = Clock::now();
        EXPECT_EQ(0, m_Receiver.Stop());
        EXPECT_LT(Clock::now() - start, WELL_BEFORE_TIMEOUT);
    }
    // What is reported by the time there are so many reports.
    static std::vector<manager_stub::Call> Reports(size_t count) {
        EXPECT_TRUE(WaitUntil([count] { return manager_stub::Calls().size() >= count; }));
        return manager_stub::Calls();
    }
    static bool NoneBeyond(size_t count) {
        return StaysFalse([count] { return manager_stub::Calls().size() > count; }, 100ms);
    }

    LogCapture m_Log;
    CTextControlManager m_Manager;
    NetworkRecv m_Receiver;
};

} // namespace

TEST_F(NetworkRecvTest, WaitsForTheFirstSocketAndServesALaterOneAtOnce) {
    BoundSocket idle;
    BoundSocket added;
    EXPECT_EQ(0, m_Receiver.Start());
    EXPECT_EQ(-1, m_Receiver.Start());
    EXPECT_TRUE(WaitUntil([this] { return m_Log.Has(WAITING); }));
    m_Receiver.RegisterSocket(added.GetSockFd(), added.Info());
    m_Receiver.UnRegisterSocket(added.GetSockFd()); // gone, as a rule before the thread looks: it goes on
    Register(idle);
    WaitForSelectOn(idle);
    EXPECT_TRUE(NoneBeyond(0)) << "a wake-up alone was reported";
    EXPECT_LT(m_Log.Count("SetReadFDSet"), 10U) << "the thread does not wait";
    added.MakeReadable();
    const auto start = Clock::now();
    Register(added);
    const auto report = Reports(1).front();
    EXPECT_EQ(added.Info(), report.m_pInfo);
    EXPECT_LT(report.m_Time - start, WELL_BEFORE_TIMEOUT);
    m_Receiver.UnRegisterSocket(added.GetSockFd());
    WaitForSelectOn(idle);
    StopAtOnce();
    EXPECT_EQ(-1, m_Receiver.Stop());
}

TEST_F(NetworkRecvTest, StopEndsTheWaitForTheFirstSocketAtOnce) {
    m_Receiver.Start();
    EXPECT_TRUE(WaitUntil([this] { return m_Log.Has(WAITING); }));
    StopAtOnce();
}

TEST_F(NetworkRecvTest, ReadableSocketsAreReportedInAscendingOrderByTheirFirstRecordsUntilUnregistered) {
    BoundSocket sockets[3];
    CTextSocketInfo other;
    for (const int index : {2, 0, 1}) {
        sockets[index].MakeReadable();
        Register(sockets[index]);
        EXPECT_EQ(1, m_Receiver.RegisterSocket(sockets[index].GetSockFd(), &other));
    }
    m_Receiver.Start();
    const auto reports = Reports(7);
    for (size_t i = 0; i < 6; ++i) {
        EXPECT_EQ(sockets[i % 3].Info(), reports[i].m_pInfo) << i;
    }
    EXPECT_GE(reports[3].m_Time - reports[2].m_Time, 29ms);
    for (BoundSocket& socket : sockets) {
        m_Receiver.UnRegisterSocket(socket.GetSockFd());
    }
    EXPECT_TRUE(NoneBeyond(manager_stub::Calls().size()));
    m_Receiver.Stop();
}

// select holds on to a descriptor's port until it returns.
TEST_F(NetworkRecvTest, APortIsFreeOnceItsSocketHasLeftSelectAndIsClosed) {
    BoundSocket idle;
    const uint16_t port = FreePortPair();
    Register(idle);
    m_Receiver.Start();
    for (int round = 0; round < 50 && !HasFailure(); ++round) {
        BoundSocket socket(port);
        m_Log.Clear();
        Register(socket);
        WaitForSelectOn(socket);
        m_Receiver.UnRegisterSocket(socket.GetSockFd());
        m_Receiver.LeaveSelect();
    }
    m_Receiver.Stop();
}

TEST_F(NetworkRecvTest, DescriptorsThatSelectCannotTakeAreRefused) {
    CTextSocketInfo info;
    for (const int fd : {-1, FD_SETSIZE, FD_SETSIZE + 476}) {
        EXPECT_EQ(-1, m_Receiver.RegisterSocket(fd, &info));
        EXPECT_TRUE(m_Log.Has("NetworkRecv::RegisterSocket(): Socket out of range:" + std::to_string(fd)));
    }
    EXPECT_EQ(0, m_Receiver.SetReadFDSet());
    EXPECT_EQ(1, m_Receiver.RegisterSocket(FD_SETSIZE - 1, &info));
    EXPECT_EQ(FD_SETSIZE - 1, m_Receiver.SetReadFDSet());
}
