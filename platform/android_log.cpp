#include "android/log.h"

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <unistd.h>

namespace {

// The platform formats a message into this much, its closing NUL included.
constexpr size_t MESSAGE_SIZE = 1024;
constexpr size_t PREFIX_SIZE = 128;

char PriorityLetter(int priority) {
    static const char letters[] = "??VDIWEFS";
    return (priority >= 0 && priority <= ANDROID_LOG_SILENT) ? letters[priority] : '?';
}

// One message is one line: its own closing line feed goes, line feeds within become blanks.
size_t FoldToOneLine(char* message) {
    size_t length = strlen(message);
    if (length > 0 && message[length - 1] == '\n') {
        message[--length] = '\0';
    }
    for (char* feed = strchr(message, '\n'); feed != nullptr; feed = strchr(feed, '\n')) {
        *feed = ' ';
    }
    return length;
}

} // namespace

// Default visibility: this is what the library is for.
__attribute__((visibility("default"))) int __android_log_print(int prio, const char* tag, const char* fmt, ...) {
    const int savedErrno = errno;
    char message[MESSAGE_SIZE];
    va_list args;
    va_start(args, fmt);
    const int formatted = vsnprintf(message, sizeof(message), fmt, args);
    va_end(args);
    if (formatted < 0) {
        errno = savedErrno;
        return -1;
    }
    char record[PREFIX_SIZE + MESSAGE_SIZE + 1];
    int prefix = snprintf(record, PREFIX_SIZE, "%c/%-8s(%5d): ", PriorityLetter(prio), tag, static_cast<int>(getpid()));
    if (prefix >= static_cast<int>(PREFIX_SIZE)) {
        prefix = PREFIX_SIZE - 1;
    }
    size_t length = static_cast<size_t>(prefix);
    const size_t messageLength = FoldToOneLine(message);
    memcpy(record + length, message, messageLength);
    length += messageLength;
    record[length++] = '\n';
    const ssize_t written = write(STDERR_FILENO, record, length);
    errno = savedErrno;
    return written < 0 ? -1 : static_cast<int>(written);
}
