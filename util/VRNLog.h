// Logging: one macro, two thresholds, one line form.
//
//   VRN_LOG(VRN_LOG_FAILURE, "%s: Invalid Session %d", channel);
//
// writes "CTextControlManager::StopFDSR(): Invalid Session 5" to the platform log. Every format begins with "%s: ",
// which receives the name of the function the macro stands in; hosts match on these lines, so a line is logged by the
// function whose name it carries, never from a helper or a lambda.
#ifndef UTIL_VRN_LOG_H
#define UTIL_VRN_LOG_H

#include <android/log.h>

#include <cstddef>
#include <cstdint>
#include <string>

// How much is logged. Exported, for hosts to write; nothing in the engine does.
extern "C" __attribute__((visibility("default"))) int VRNlogLevel;

constexpr int VRN_LOG_FAILURE = 1; // failures and rejected input
constexpr int VRN_LOG_TRACE = 2;   // entry and exit, state changes, per-packet lines, and some failures
constexpr const char* VRN_LOG_TAG = "[VRN]";
constexpr size_t VRN_LOG_TEXT_MAX = 1023; // bytes the platform keeps of a message

// The bare function name for a line: the pretty-function text of clang from behind the last blank ahead of the first
// "::", its arguments replaced by "()". For names that hold a blank themselves (list templates, free functions with
// blanks in their arguments) only a tail comes out; kept: hosts match on these lines.
std::string FuncName(std::string prettyFunction);

// True when a line of this threshold is to be printed. The host writes the level from any thread.
inline bool VRNLogEnabled(int threshold) {
    return __atomic_load_n(&VRNlogLevel, __ATOMIC_RELAXED) >= threshold;
}

// The name that starts a line. Keeps errno, which the platform log may change.
class VRNLogName {
public:
    explicit VRNLogName(const char* prettyFunction);
    ~VRNLogName();
    VRNLogName(const VRNLogName&) = delete;
    VRNLogName& operator=(const VRNLogName&) = delete;

    const char* Text() const { return m_Name.c_str(); }

private:
    const int m_nErrno;
    const std::string m_Name;
};

// Writes a line. Never inlined, so that a silent site costs its function neither a stack frame nor room.
template <typename... Arguments>
__attribute__((noinline, cold)) void VRNLogLine(const char* prettyFunction, const char* format,
                                                Arguments... arguments) {
    const VRNLogName name(prettyFunction);
    __android_log_print(ANDROID_LOG_ERROR, VRN_LOG_TAG, format, name.Text(), arguments...);
}

// A copy of at most VRN_LOG_TEXT_MAX bytes of `text`: what the platform log takes of text that a host or a far end
// supplied.
std::string VRNLogText(const unsigned char* text, size_t length);

// The low 32 bits of an address, which is how lines print it.
inline unsigned int VRNLogAddress(const void* address) {
    return static_cast<unsigned int>(reinterpret_cast<uintptr_t>(address));
}

// Nothing is built or evaluated unless the threshold passes.
#define VRN_LOG(threshold, format, ...) VRN_LOG_FOR(__PRETTY_FUNCTION__, threshold, format, ##__VA_ARGS__)

// The same for a helper that logs in its caller's name, whose pretty-function text it was given. The compiler checks
// the format in the call that is never made.
#define VRN_LOG_FOR(prettyFunction, threshold, format, ...)                                                            \
    do {                                                                                                               \
        if (VRNLogEnabled(threshold)) {                                                                                \
            static_cast<void>(sizeof(__android_log_print(0, "", format, "", ##__VA_ARGS__)));                          \
            VRNLogLine(prettyFunction, format, ##__VA_ARGS__);                                                         \
        }                                                                                                              \
    } while (0)

#endif
