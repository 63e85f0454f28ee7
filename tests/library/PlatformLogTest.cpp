// The log of machines without the platform's. This program has one of its own (LogCapture), which hides it: it is
// called as the next definition of its name.
#include <android/log.h>

#include <gtest/gtest.h>

#include <cerrno>
#include <dlfcn.h>
#include <sys/socket.h>
#include <unistd.h>
#include <vector>

namespace {

using Print = int (*)(int, const char*, const char*, ...);

// Standard error as a datagram socket, on which each write is a record of its own.
class StandardError {
public:
    StandardError() : m_nSaved(dup(STDERR_FILENO)) {
        socketpair(AF_UNIX, SOCK_DGRAM | SOCK_NONBLOCK, 0, m_nFds);
        dup2(m_nFds[0], STDERR_FILENO);
    }
    ~StandardError() {
        dup2(m_nSaved, STDERR_FILENO);
        for (const int fd : {m_nFds[0], m_nFds[1], m_nSaved}) {
            close(fd);
        }
    }
    std::vector<std::string> Records() {
        std::vector<std::string> records;
        char record[4096];
        for (ssize_t length; (length = recv(m_nFds[1], record, sizeof(record), 0)) >= 0;) {
            records.emplace_back(record, static_cast<size_t>(length));
        }
        return records;
    }

private:
    int m_nSaved;
    int m_nFds[2];
};

} // namespace

TEST(PlatformLog, WritesOneRecordOfOneLineAMessageInBriefForm) {
    const auto print = reinterpret_cast<Print>(dlsym(RTLD_NEXT, "__android_log_print"));
    ASSERT_NE(nullptr, print);
    char pid[16];
    snprintf(pid, sizeof(pid), "(%5d): ", getpid());
    const std::string start = std::string("E/[VRN]   ") + pid;
    const std::string kept(1023, 'x');
    const struct {
        std::string message;
        std::string record;
    } table[] = {
        {"plain", "plain"},
        {"", ""},
        {"its own line feed\n", "its own line feed"},
        {"two\nlines\n", "two lines"},
        {kept, kept},
        {kept + "y", kept},
        {kept + "\n", kept},
        {std::string(5000, 'x'), kept},
    };
    for (const auto& row : table) {
        StandardError standardError;
        errno = ENOENT;
        EXPECT_EQ(static_cast<int>(start.size() + row.record.size() + 1),
                  print(ANDROID_LOG_ERROR, "[VRN]", "%s", row.message.c_str()));
        EXPECT_EQ(ENOENT, errno);
        EXPECT_EQ(std::vector<std::string>{start + row.record + "\n"}, standardError.Records());
    }
    StandardError standardError;
    print(ANDROID_LOG_DEBUG, "a tag beyond eight", "%s: %d", "f()", 1);
    EXPECT_EQ(std::vector<std::string>{std::string("D/a tag beyond eight") + pid + "f(): 1\n"},
              standardError.Records());
}
