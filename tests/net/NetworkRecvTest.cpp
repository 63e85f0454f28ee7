#include "net/NetworkRecv.h"

#include "control/CTextControlManager.h"
#include "net/CSocket.h"
#include "tests/support/LogCapture.h"
#include "tests/support/ManagerStub.h"
#include "tests/support/UdpPeer.h"
#include "tests/support/WaitUntil.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <memory>
#include <sys/resource.h>
#include <unistd.h>

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

constexpr auto WELL_BEFORE_TIMEOUT = 1000ms; // of select, 1.3 s
const std::string WAITING = "NetworkRecvRunnable::Run(): No socket Registered, waiting for socket register";
const std::string ENTERING = "NetworkRecvRunnable::Run(): Entering Network Recv Thread";

char LOOPBACK[] = "127.0.0.1";

struct BoundSocket {
    explicit BoundSocket(short port = 0) {
        SockAddr addr{};
        m_bOpen = m_Socket.Create(LOOPBACK, port, 0, addr) == 1;
        socklen_t length = sizeof(addr);
        getsockname(Fd(), &addr.generic, &length);
        m_nPort = ntohs(addr.v4.sin_port);
    }
    ~BoundSocket() { m_Socket.Close(); }
    int Fd() { return m_Socket.GetSockFd(); }
    void MakeReadable() { UdpPeer().SendTo(m_nPort, {1}); }

    CSocket m_Socket;
    bool m_bOpen;
    uint16_t m_nPort;
};

class NetworkRecvTest : public ::testing::Test {
protected:
    void SetUp() override {
        manager_stub::Reset();
        m_Receiver.SetControlManagerHandle(&m_Manager);
    }
    void Register(BoundSocket& socket) { EXPECT_EQ(1, m_Receiver.RegisterSocket(socket.Fd(), socket.m_Socket.Info())); }
    // Until the thread is in a select, or about to, that includes the socket.
    void WaitForSelectOn(BoundSocket& socket) {
        const std::string line = "maxfd:" + std::to_string(socket.Fd());
        EXPECT_TRUE(WaitUntil([&] { return m_Log.Has(line); }));
        std::this_thread::sleep_for(2ms);
    }
    static std::vector<CTextSocketInfo*> Reports() {
        std::vector<CTextSocketInfo*> reports;
        for (const auto& call : manager_stub::Calls()) {
            reports.push_back(call.m_pInfo);
        }
        return reports;
    }

    LogCapture m_Log;
    CTextControlManager m_Manager;
    NetworkRecv m_Receiver;
};

} // namespace

TEST_F(NetworkRecvTest, WaitsForTheFirstSocketAndReportsItWhenReadable) {
    BoundSocket first;
    BoundSocket second;
    EXPECT_EQ(0, m_Receiver.Start());
    EXPECT_EQ(-1, m_Receiver.Start());
    EXPECT_TRUE(WaitUntil([this] { return m_Log.Has(WAITING); }));
    EXPECT_TRUE(StaysFalse([this] { return m_Log.Has(ENTERING) || m_Log.Has("SetReadFDSet"); }, 50ms));
    Register(first);
    Register(second);
    WaitForSelectOn(second);
    EXPECT_EQ(1U, m_Log.Count(ENTERING));
    EXPECT_EQ(1U, m_Log.Count("NetworkRecv::RegisterSocket(): : blockthread (1)"));
    EXPECT_EQ(1U, m_Log.Count("NetworkRecv::RegisterSocket(): : blockthread (0)"));
    EXPECT_TRUE(StaysFalse([] { return !Reports().empty(); }, 50ms)) << "a wake-up alone was reported";
    EXPECT_LT(m_Log.Count("SetReadFDSet"), 10U) << "the thread does not wait";
    first.MakeReadable();
    EXPECT_TRUE(WaitUntil([] { return !Reports().empty(); }));
    EXPECT_EQ(first.m_Socket.Info(), Reports().front());
    EXPECT_EQ(0, m_Receiver.Stop());
    EXPECT_EQ(-1, m_Receiver.Stop());
}

TEST_F(NetworkRecvTest, StopEndsEveryWaitAtOnce) {
    BoundSocket socket;
    for (const bool inSelect : {false, true}) {
        NetworkRecv receiver;
        receiver.Start();
        EXPECT_TRUE(WaitUntil([this] { return m_Log.Has(WAITING); }));
        if (inSelect) {
            receiver.RegisterSocket(socket.Fd(), socket.m_Socket.Info());
            WaitForSelectOn(socket);
        }
        std::this_thread::sleep_for(20ms);
        m_Log.Clear();
        const auto start = Clock::now();
        EXPECT_EQ(0, receiver.Stop());
        EXPECT_LT(Clock::now() - start, WELL_BEFORE_TIMEOUT) << inSelect;
    }
}

// Registered and unregistered before the thread first looks, or while it does: it goes on, and a later one is served.
TEST_F(NetworkRecvTest, ASocketGoneBeforeTheFirstWaitDoesNoHarm) {
    BoundSocket gone;
    BoundSocket served;
    served.MakeReadable();
    for (int round = 0; round < 20; ++round) {
        manager_stub::Reset();
        NetworkRecv receiver;
        receiver.SetControlManagerHandle(&m_Manager);
        receiver.Start();
        receiver.RegisterSocket(gone.Fd(), gone.m_Socket.Info());
        receiver.UnRegisterSocket(gone.Fd());
        receiver.RegisterSocket(served.Fd(), served.m_Socket.Info());
        EXPECT_TRUE(WaitUntil([] { return !Reports().empty(); }));
        receiver.Stop();
    }
}

TEST_F(NetworkRecvTest, ASocketRegisteredDuringAWaitIsServedAtOnce) {
    BoundSocket idle;
    BoundSocket added;
    Register(idle);
    m_Receiver.Start();
    WaitForSelectOn(idle);
    const auto start = Clock::now();
    added.MakeReadable();
    Register(added);
    EXPECT_TRUE(WaitUntil([] { return !Reports().empty(); }));
    EXPECT_LT(manager_stub::Calls().front().m_Time - start, WELL_BEFORE_TIMEOUT);
    EXPECT_EQ(added.m_Socket.Info(), Reports().front());
    m_Receiver.Stop();
}

TEST_F(NetworkRecvTest, ReadableSocketsAreReportedInAscendingOrderAgainAfterAPauseAndNeverAfterStop) {
    BoundSocket sockets[3];
    std::vector<CTextSocketInfo*> ascending;
    for (BoundSocket& socket : sockets) {
        socket.MakeReadable();
        ascending.push_back(socket.m_Socket.Info());
    }
    for (const int index : {2, 0, 1}) {
        Register(sockets[index]);
    }
    m_Receiver.Start();
    EXPECT_TRUE(WaitUntil([] { return Reports().size() >= 7; }));
    m_Receiver.Stop();
    const auto calls = manager_stub::Calls();
    for (size_t i = 0; i < 6; ++i) {
        EXPECT_EQ(ascending[i % 3], calls[i].m_pInfo) << i;
    }
    EXPECT_GE(calls[3].m_Time - calls[2].m_Time, 29ms);
    EXPECT_TRUE(StaysFalse([&calls] { return Reports().size() > calls.size(); }, 100ms));
}

TEST_F(NetworkRecvTest, ADescriptorKeepsItsFirstRecordUntilUnregistered) {
    BoundSocket socket;
    CTextSocketInfo other;
    socket.MakeReadable();
    Register(socket);
    EXPECT_EQ(1, m_Receiver.RegisterSocket(socket.Fd(), &other));
    m_Receiver.UnRegisterSocket(socket.Fd() + 1);
    EXPECT_TRUE(m_Log.Has("NetworkRecv::UnRegisterSocket(): sock fd:" + std::to_string(socket.Fd() + 1)));
    m_Receiver.Start();
    EXPECT_TRUE(WaitUntil([] { return Reports().size() >= 2; }));
    m_Receiver.UnRegisterSocket(socket.Fd());
    const auto reports = Reports();
    EXPECT_EQ(std::vector<CTextSocketInfo*>(reports.size(), socket.m_Socket.Info()), reports);
    EXPECT_TRUE(StaysFalse([&reports] { return Reports().size() > reports.size(); }, 100ms));
    m_Receiver.Stop();
    EXPECT_EQ(0, m_Receiver.SetReadFDSet());
}

// select holds on to a descriptor's port until it returns.
TEST_F(NetworkRecvTest, APortIsFreeOnceItsSocketHasLeftSelectAndIsClosed) {
    BoundSocket idle;
    const short port = static_cast<short>(FreePortPair());
    Register(idle);
    m_Receiver.Start();
    for (int round = 0; round < 50; ++round) {
        BoundSocket socket(port);
        ASSERT_TRUE(socket.m_bOpen) << "round " << round;
        m_Log.Clear();
        Register(socket);
        WaitForSelectOn(socket);
        m_Receiver.UnRegisterSocket(socket.Fd());
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
    EXPECT_EQ(1, m_Receiver.RegisterSocket(0, &info));
    EXPECT_EQ(FD_SETSIZE - 1, m_Receiver.SetReadFDSet());
}

// In a host with very many descriptors open the receiver cannot watch its own; the time-out of its wait remains.
TEST_F(NetworkRecvTest, WithNoRoomForItsWakeUpItServesWithinTheTimeout) {
    rlimit limit{};
    getrlimit(RLIMIT_NOFILE, &limit);
    limit.rlim_cur = limit.rlim_max;
    setrlimit(RLIMIT_NOFILE, &limit);
    BoundSocket first;
    BoundSocket second;
    std::vector<int> fillers;
    do {
        fillers.push_back(dup(first.Fd()));
    } while (fillers.back() >= 0 && fillers.back() < FD_SETSIZE);
    ASSERT_GE(fillers.back(), FD_SETSIZE) << "no right to open this many descriptors";
    auto receiver = std::make_unique<NetworkRecv>();
    receiver->SetControlManagerHandle(&m_Manager);
    receiver->RegisterSocket(first.Fd(), first.m_Socket.Info());
    receiver->Start();
    WaitForSelectOn(first);
    second.MakeReadable();
    receiver->RegisterSocket(second.Fd(), second.m_Socket.Info());
    EXPECT_TRUE(WaitUntil([] { return !Reports().empty(); }));
    receiver->UnRegisterSocket(second.Fd());
    receiver->Stop();
    for (const int fd : fillers) {
        close(fd);
    }
}
