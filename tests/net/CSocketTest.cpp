#include "net/CSocket.h"

#include "tests/support/LogCapture.h"
#include "tests/support/UdpPeer.h"

#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <climits>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

namespace {

const std::string FAMILIES[] = {"127.0.0.1", "::1"};

struct TestSocket : CSocket {
    int Bind(std::string ip, uint16_t port = 0, int netId = 0) {
        return Create(ip.data(), static_cast<short>(port), netId, m_Address);
    }
    int Option(int level, int name) {
        int value = -1;
        socklen_t length = sizeof(value);
        return getsockopt(GetSockFd(), level, name, &value, &length) == 0 ? value : -1;
    }
    SockAddr m_Address{};
};

// The lowest descriptor that is free.
int FreeDescriptor() {
    const int fd = dup(STDIN_FILENO);
    close(fd);
    return fd;
}

} // namespace

TEST(CSocket, SetAddressTakesBothFamiliesAndLeavesAllElseAlone) {
    CSocket socket;
    SockAddr addr;
    memset(&addr, 0xA5, sizeof(addr));
    const auto set = [&](std::string ip, int port) { socket.SetAddress(ip.data(), port, addr); };
    set("127.0.0.1", 5004);
    EXPECT_TRUE(addr.v4.sin_family == AF_INET && addr.v4.sin_port == htons(5004));
    EXPECT_EQ(htonl(INADDR_LOOPBACK), addr.v4.sin_addr.s_addr);
    set("::1", 0x10000 + 5006); // the low 16 bits are the port
    const sockaddr_in6 expected = {AF_INET6, htons(5006), 0, in6addr_loopback, 0};
    for (const char* noAddress : {"", "localhost", "1.2.3.256", "127.0.0.1 ", "::1::", "fe80::1%lo"}) {
        set(noAddress, 1);
        EXPECT_EQ(0, memcmp(&expected, &addr.v6, sizeof(expected))) << noAddress;
    }
}

TEST(CSocket, ANetworkIdMarksTheSocketOrFailsCreate) {
    TestSocket probe;
    probe.Bind(FAMILIES[0]);
    const int mark = 1;
    const bool mayMark = setsockopt(probe.GetSockFd(), SOL_SOCKET, SO_MARK, &mark, sizeof(mark)) == 0;
    probe.Close();
    for (const int netId : {100, INT_MAX, 0, -1}) {
        const int expected = netId > 0 ? static_cast<int>(0xD0000U + static_cast<unsigned int>(netId)) : 0;
        TestSocket socket;
        EXPECT_EQ(mayMark || expected == 0 ? 1 : -1, socket.Bind(FAMILIES[0], 0, netId)) << netId;
        EXPECT_EQ(mayMark || expected == 0 ? expected : -1, socket.Option(SOL_SOCKET, SO_MARK)) << netId;
        socket.Close();
    }
}

TEST(CSocket, CarriesDatagramsWithoutEverWaitingAndLogsItsSteps) {
    for (const std::string& ip : FAMILIES) {
        UdpPeer peer(0, ip);
        const uint16_t port = UdpPeer(0, ip).Port(); // free a moment ago, and above 32767
        const int descriptor = FreeDescriptor();
        LogCapture log;
        TestSocket socket;
        ASSERT_EQ(1, socket.Bind(ip, port));
        EXPECT_EQ(-1, socket.Bind(ip, port)) << "the port was not taken";
        EXPECT_EQ(descriptor, socket.GetSockFd());
        EXPECT_EQ(descriptor + 1, FreeDescriptor());
        EXPECT_EQ(0, socket.Option(IPPROTO_IP, IP_TOS));
        EXPECT_EQ(FD_CLOEXEC, fcntl(descriptor, F_GETFD));
        const timeval longWait = {60, 0}; // what a receive that waits would take
        setsockopt(descriptor, SOL_SOCKET, SO_RCVTIMEO, &longWait, sizeof(longWait));
        unsigned char buffer[] = {9, 8, 7, 6};
        peer.SendTo(port, {1, 2, 3, 4, 5});
        EXPECT_EQ(4, socket.RecvFrom(buffer, 4));
        const auto start = std::chrono::steady_clock::now();
        EXPECT_EQ(-1, socket.RecvFrom(buffer, 4));
        EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(30));
        socket.m_Address.v4.sin_port = htons(peer.Port()); // at the same place in both
        EXPECT_EQ(4, socket.Sendto(buffer, 4, socket.m_Address));
        EXPECT_EQ((Bytes{1, 2, 3, 4}), peer.Receive());
        EXPECT_EQ(1, socket.Close());
        EXPECT_EQ(-1, socket.Close());
        EXPECT_EQ(descriptor, FreeDescriptor());
        const std::string isV6 = "CSocket::SetAddress(): m_bIsIPV6:" + std::to_string(ip == "::1");
        const std::string bind =
            "CSocket::Create(): Socket Bind Local port:" + std::to_string(static_cast<short>(port)) +
            ", htons:" + std::to_string(htons(port));
        EXPECT_EQ(
            (std::vector<std::string>{
                isV6, bind, "CSocket::Create(): Socket Create and Bind success (" + std::to_string(descriptor) + ")",
                isV6, bind, "CSocket::Create(): Socket Bind failed:-1", "CSocket::RecvFrom(): Socket Recv Data Len: 4",
                "CSocket::RecvFrom(): Socket Recv Data Len: -1",
                "CSocket::Sendto(): RTT TX: len:4 port=" + std::to_string(htons(peer.Port())),
                "CSocket::Close(): Socket Close failed:-1"}),
            log.Lines());
    }
}
