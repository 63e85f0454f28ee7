// The log of machines without the platform's. This program has one of its own (LogCapture), which hides it: it is
// called as the next definition of its name.
#include <android/log.h>

#include <gtest/gtest.h>

#include <dlfcn.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

using Print = int (*)(int, const char*, const char*, ...);

// Prints with standard error as a datagram socket, on which each write is a record of its own; the first record.
std::string FirstRecord(int priority, const char* tag, const char* message) {
    const auto print = reinterpret_cast<Print>(dlsym(RTLD_NEXT, "__android_log_print"));
    int fds[2];
    const int saved = dup(STDERR_FILENO);
    socketpair(AF_UNIX, SOCK_DGRAM | SOCK_NONBLOCK, 0, fds);
    dup2(fds[0], STDERR_FILENO);
    errno = ENOENT;
    const int result = print(priority, tag, "%s", message);
    EXPECT_EQ(ENOENT, errno);
    dup2(saved, STDERR_FILENO);
    char record[4096];
    const ssize_t length = recv(fds[1], record, sizeof(record), 0);
    EXPECT_EQ(result, length);
    EXPECT_EQ(-1, recv(fds[1], record + 1, 1, 0)) << "a second record";
    for (const int fd : {fds[0], fds[1], saved}) {
        close(fd);
    }
    return std::string(record, static_cast<size_t>(std::max<ssize_t>(length, 0)));
}

} // namespace

TEST(PlatformLog, WritesOneRecordOfOneLineAMessageInBriefForm) {
    char pid[16];
    snprintf(pid, sizeof(pid), "(%5d): ", getpid());
    const std::string kept(1023, 'x');
    const std::string table[][2] = {
        {"plain", "plain"},
        {"", ""},
        {"its own line feed\n", "its own line feed"},
        {"two\nlines\n", "two lines"},
        {kept + "y", kept},
        {kept + "\n", kept},
        {std::string(5000, 'x'), kept},
    };
    for (const auto& row : table) {
        EXPECT_EQ(std::string("E/[VRN]   ") + pid + row[1] + "\n",
                  FirstRecord(ANDROID_LOG_ERROR, "[VRN]", row[0].c_str()));
    }
    EXPECT_EQ(std::string("D/a tag beyond eight") + pid + "text\n",
              FirstRecord(ANDROID_LOG_DEBUG, "a tag beyond eight", "text"));
}
