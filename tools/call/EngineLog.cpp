#include "call/EngineLog.h"

#include <algorithm>
#include <android/log.h>
#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <unistd.h>

namespace {

constexpr mode_t LOG_FILE_MODE = 0644;
// The platform keeps 1023 bytes of a message; the time and the tag stand before it.
constexpr size_t MESSAGE_SIZE = 1024;
constexpr size_t HEAD_SIZE = 64;
constexpr long NS_PER_MS = 1000000;

// -1: lines are dropped. Never closed: an engine thread may be writing to it until the process ends.
std::atomic<int> s_nLogFd{-1};
PacketCounter s_Packets;
std::atomic<unsigned> s_nRefusals{0};

// "StartSend fail", "Start Transport failed" and the like; these lines are fixed.
bool IsRefusal(const char* line) {
    for (const char* start : {"CTextSessionManager::StartFDSR(): ", "CTextSessionManager::SetVEStatus(): "}) {
        if (strncmp(line, start, strlen(start)) == 0) {
            return strstr(line, " fail") != nullptr;
        }
    }
    return false;
}

size_t FormatHead(char* head, const char* tag) {
    timespec now = {};
    clock_gettime(CLOCK_REALTIME, &now);
    tm day = {};
    localtime_r(&now.tv_sec, &day);
    const size_t length = strftime(head, HEAD_SIZE, "%H:%M:%S", &day);
    const int tail = snprintf(head + length, HEAD_SIZE - length, ".%03ld %s ", now.tv_nsec / NS_PER_MS, tag);
    return std::min(length + static_cast<size_t>(std::max(tail, 0)), HEAD_SIZE - 1);
}

} // namespace

bool OpenEngineLog(const std::string& path) {
    s_nLogFd = open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, LOG_FILE_MODE);
    return s_nLogFd >= 0;
}

unsigned EngineRefusals() {
    return s_nRefusals;
}

PacketCounter& EnginePackets() {
    return s_Packets;
}

// Stands in for the platform's function in this process. Takes no lock: a line is one write to a file opened for
// appending, and the engine may log while it holds locks of its own.
__attribute__((visibility("default"))) int __android_log_print(int /*prio*/, const char* tag, const char* fmt, ...) {
    const int savedErrno = errno;
    char line[HEAD_SIZE + MESSAGE_SIZE + 1];
    const size_t head = FormatHead(line, tag);
    line[head] = '\0';
    va_list args;
    va_start(args, fmt);
    const int formatted = vsnprintf(line + head, MESSAGE_SIZE, fmt, args);
    va_end(args);
    s_Packets.Count(line + head);
    s_nRefusals += IsRefusal(line + head) ? 1 : 0;
    const int fd = s_nLogFd;
    if (fd < 0) {
        errno = savedErrno;
        return 0;
    }
    size_t length = head + (formatted < 0 ? 0 : static_cast<size_t>(formatted));
    if (formatted >= static_cast<int>(MESSAGE_SIZE)) {
        length = head + MESSAGE_SIZE - 1;
    }
    if (length == head || line[length - 1] != '\n') {
        line[length++] = '\n';
    }
    const ssize_t written = write(fd, line, length);
    errno = savedErrno;
    return static_cast<int>(written);
}
