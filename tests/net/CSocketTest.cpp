#include "net/CSocket.h"

#include "tests/support/LogCapture.h"
#include "tests/support/UdpPeer.h"

#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <chrono>
#include <climits>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <linux/capability.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <thread>
#include <unistd.h>

namespace {

using Lines = std::vector<std::string>;

char* Text(const char* text) {
    return const_cast<char*>(text);
}

std::ptrdiff_t OpenDescriptors() {
    return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
}

template <typename... Args> std::string Format(const char* format, Args... args) {
    char line[256];
    snprintf(line, sizeof(line), format, args...);
    return line;
}

int Option(int fd, int level, int name) {
    int value = -1;
    socklen_t length = sizeof(value);
    return getsockopt(fd, level, name, &value, &length) == 0 ? value : -1;
}

bool MayMark() {
    const unsigned int mark = 1;
    const int fd = socket(AF_INET, SOCK_DGRAM, 0);
    const int result = setsockopt(fd, SOL_SOCKET, SO_MARK, &mark, sizeof(mark));
    close(fd);
    return result == 0;
}

// Of the calling thread alone.
void DropCapabilities() {
    __user_cap_header_struct header = {_LINUX_CAPABILITY_VERSION_3, 0};
    __user_cap_data_struct none[_LINUX_CAPABILITY_U32S_3] = {};
    syscall(SYS_capset, &header, none);
}

struct Family {
    const char* m_pIp;
    int m_nFamily;
};
constexpr Family FAMILIES[] = {{"127.0.0.1", AF_INET}, {"::1", AF_INET6}};

} // namespace

TEST(CSocket, SetAddressTakesBothFamiliesAndLeavesAllElseAlone) {
    CSocket socket;
    LogCapture log;
    SockAddr addr;
    memset(&addr, 0xA5, sizeof(addr));
    socket.SetAddress(Text("127.0.0.1"), 5004, addr);
    EXPECT_EQ(AF_INET, addr.v4.sin_family);
    EXPECT_EQ(htons(5004), addr.v4.sin_port);
    EXPECT_EQ(htonl(INADDR_LOOPBACK), addr.v4.sin_addr.s_addr);
    socket.SetAddress(Text("::1"), 0x10000 + 5006, addr); // the low 16 bits are the port
    EXPECT_EQ(AF_INET6, addr.v6.sin6_family);
    EXPECT_EQ(htons(5006), addr.v6.sin6_port);
    EXPECT_EQ(0, memcmp(&in6addr_loopback, &addr.v6.sin6_addr, sizeof(in6addr_loopback)));
    EXPECT_TRUE(addr.v6.sin6_scope_id == 0 && addr.v6.sin6_flowinfo == 0) << "left over from before";
    const SockAddr before = addr;
    for (const char* noAddress : {"", "localhost", "1.2.3", "1.2.3.256", "127.0.0.1 ", "::1::", "fe80::1%lo"}) {
        socket.SetAddress(Text(noAddress), 1, addr);
        EXPECT_EQ(0, memcmp(&before, &addr, sizeof(addr))) << noAddress;
    }
    Lines expected(9, "CSocket::SetAddress(): m_bIsIPV6:1");
    expected[0].back() = '0';
    EXPECT_EQ(expected, log.Lines());
}

TEST(CSocket, CreateBindsACloseOnExecSocketAndCloseForgetsIt) {
    for (const Family& family : FAMILIES) {
        const uint16_t port = UdpPeer(0, family.m_pIp).Port(); // free a moment ago, and above 32767
        const auto descriptors = OpenDescriptors();
        CSocket socket;
        EXPECT_EQ(-1, socket.GetSockFd());
        SockAddr addr{};
        LogCapture log;
        ASSERT_EQ(1, socket.Create(Text(family.m_pIp), static_cast<short>(port), 0, addr));
        const int fd = socket.GetSockFd();
        EXPECT_EQ((Lines{
                      Format("CSocket::SetAddress(): m_bIsIPV6:%d", family.m_nFamily == AF_INET6),
                      Format("CSocket::Create(): Socket Bind Local port:%d, htons:%d", static_cast<int16_t>(port),
                             htons(port)),
                      Format("CSocket::Create(): Socket Create and Bind success (%d)", fd),
                  }),
                  log.Lines());
        EXPECT_EQ(descriptors + 1, OpenDescriptors());
        EXPECT_EQ(family.m_nFamily, Option(fd, SOL_SOCKET, SO_DOMAIN));
        EXPECT_EQ(SOCK_DGRAM, Option(fd, SOL_SOCKET, SO_TYPE));
        EXPECT_EQ(0, Option(fd, IPPROTO_IP, IP_TOS));
        EXPECT_EQ(0, Option(fd, SOL_SOCKET, SO_MARK));
        EXPECT_EQ(FD_CLOEXEC, fcntl(fd, F_GETFD));
        EXPECT_FALSE(UdpPeer(port, family.m_pIp).IsOpen()) << "the port is not taken";
        log.Clear();
        EXPECT_EQ(1, socket.Close());
        EXPECT_EQ(-1, socket.GetSockFd());
        EXPECT_EQ(-1, socket.Close());
        EXPECT_EQ(Lines{"CSocket::Close(): Socket Close failed:-1"}, log.Lines());
        EXPECT_EQ(descriptors, OpenDescriptors());
    }
}

TEST(CSocket, AFailedCreateLeavesNothingOpenAndThePreviousDescriptor) {
    UdpPeer busy;
    const short port = static_cast<short>(busy.Port());
    CSocket socket;
    SockAddr addr{};
    ASSERT_EQ(1, socket.Create(Text("127.0.0.1"), 0, 0, addr));
    const int fd = socket.GetSockFd();
    const auto descriptors = OpenDescriptors();
    LogCapture log;
    EXPECT_EQ(-1, socket.Create(Text("127.0.0.1"), port, 0, addr));
    EXPECT_EQ((Lines{
                  "CSocket::SetAddress(): m_bIsIPV6:0",
                  Format("CSocket::Create(): Socket Bind Local port:%d, htons:%d", port, htons(busy.Port())),
                  "CSocket::Create(): Socket Bind failed:-1",
              }),
              log.Lines());
    EXPECT_EQ(descriptors, OpenDescriptors());
    EXPECT_EQ(fd, socket.GetSockFd());
    socket.Close();
}

// As whoever runs the test, and with no right to mark sockets.
TEST(CSocket, ANetworkIdMarksTheSocketOrFailsCreate) {
    const auto create = [] {
        const bool mayMark = MayMark();
        const auto descriptors = OpenDescriptors();
        const struct {
            int netId;
            unsigned int mark;
        } table[] = {{100, 0xD0064}, {1, 0xD0001}, {INT_MAX, 0x800CFFFF}, {0, 0}, {-1, 0}, {INT_MIN, 0}};
        for (const auto& row : table) {
            CSocket socket;
            SockAddr addr{};
            LogCapture log;
            const bool succeeds = mayMark || row.netId < 1;
            EXPECT_EQ(succeeds ? 1 : -1, socket.Create(Text("127.0.0.1"), 0, row.netId, addr)) << row.netId;
            const std::string line = Format("CSocket::Create(): setsockopt netid(%d) failed", row.netId);
            EXPECT_EQ(succeeds ? 0U : 1U, log.Count(line));
            if (succeeds) {
                EXPECT_EQ(row.mark, static_cast<unsigned int>(Option(socket.GetSockFd(), SOL_SOCKET, SO_MARK)));
                EXPECT_EQ(1, socket.Close());
            }
            EXPECT_EQ(descriptors, OpenDescriptors());
        }
    };
    create();
    std::thread([&create] {
        DropCapabilities();
        ASSERT_FALSE(MayMark());
        create();
    }).join();
}

TEST(CSocket, DatagramsGoBothWaysAndReceivingNeverWaits) {
    for (const Family& family : FAMILIES) {
        UdpPeer peer(0, family.m_pIp);
        CSocket socket;
        SockAddr local{};
        SockAddr remote{};
        ASSERT_EQ(1, socket.Create(Text(family.m_pIp), static_cast<short>(FreePortPair(family.m_pIp)), 0, local));
        socket.SetAddress(Text(family.m_pIp), peer.Port(), remote);
        const timeval longWait = {60, 0}; // what a receive that waits would take
        setsockopt(socket.GetSockFd(), SOL_SOCKET, SO_RCVTIMEO, &longWait, sizeof(longWait));
        unsigned char buffer[] = {9, 8, 7, 6};
        LogCapture log;
        EXPECT_EQ(4, socket.Sendto(buffer, 4, remote));
        EXPECT_EQ((Bytes{9, 8, 7, 6}), peer.Receive());
        peer.SendTo(ntohs(local.v4.sin_port), {1, 2, 3, 4, 5});
        EXPECT_EQ(4, socket.RecvFrom(buffer, 4));
        EXPECT_EQ((Bytes{1, 2, 3, 4}), Bytes(buffer, buffer + 4));
        const auto start = std::chrono::steady_clock::now();
        EXPECT_EQ(-1, socket.RecvFrom(buffer, 4));
        EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(30));
        socket.Close();
        EXPECT_EQ(-1, socket.Sendto(buffer, 4, remote));
        const int port = htons(peer.Port());
        EXPECT_EQ((Lines{
                      Format("CSocket::Sendto(): RTT TX: len:4 port=%d", port),
                      "CSocket::RecvFrom(): Socket Recv Data Len: 4",
                      "CSocket::RecvFrom(): Socket Recv Data Len: -1",
                      Format("CSocket::Sendto(): RTT TX: len:-1 port=%d", port),
                  }),
                  log.Lines());
    }
}
