// Stand-in for the target platform's log header: the one function and the priorities that the engine uses.
#ifndef VRN_PLATFORM_ANDROID_LOG_H
#define VRN_PLATFORM_ANDROID_LOG_H

#ifdef __cplusplus
extern "C" {
#endif

typedef enum android_LogPriority {
    ANDROID_LOG_UNKNOWN = 0,
    ANDROID_LOG_DEFAULT,
    ANDROID_LOG_VERBOSE,
    ANDROID_LOG_DEBUG,
    ANDROID_LOG_INFO,
    ANDROID_LOG_WARN,
    ANDROID_LOG_ERROR,
    ANDROID_LOG_FATAL,
    ANDROID_LOG_SILENT
} android_LogPriority;

// Writes one message to standard error as "E/tag     ( pid): message". Keeps 1023 bytes of the message and drops the
// rest. Thread-safe: each message is one write. Returns the length of the record, or -1 when nothing was written.
int __android_log_print(int prio, const char* tag, const char* fmt, ...) __attribute__((__format__(printf, 3, 4)));

#ifdef __cplusplus
}
#endif

#endif
