// The log: a silenced site against none, and a printed line, without its output, against formatting alone.

#include "util/VRNLog.h"

#include <benchmark/benchmark.h>
#include <cstdarg>
#include <cstdio>

namespace {

char s_Line[VRN_LOG_TEXT_MAX + 1];

} // namespace

// In place of the platform's: everything but the output.
extern "C" __attribute__((visibility("default"))) int __android_log_print(int, const char*, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    const int length = vsnprintf(s_Line, sizeof(s_Line), format, arguments);
    va_end(arguments);
    return length;
}

// Its lines begin with what is cut from a name like the engine's.
class LoggingSocket {
public:
    __attribute__((noinline)) int Sendto([[maybe_unused]] unsigned char* buf, int len, unsigned port) {
        benchmark::ClobberMemory();
        VRN_LOG(VRN_LOG_TRACE, "%s: RTT TX: len:%d port=%d", len, port);
        return len;
    }
    __attribute__((noinline)) int SendtoWithoutLog([[maybe_unused]] unsigned char* buf, int len,
                                                   [[maybe_unused]] unsigned port) {
        benchmark::ClobberMemory();
        return len;
    }
};

namespace {

void LogLine(benchmark::State& state, int level) {
    VRNlogLevel = level;
    LoggingSocket socket;
    unsigned char byte = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(socket.Sendto(&byte, 42, 5004));
    }
    VRNlogLevel = 0;
}
BENCHMARK_CAPTURE(LogLine, silenced, 0);
BENCHMARK_CAPTURE(LogLine, printed, VRN_LOG_TRACE);

void LogLineSilencedBare(benchmark::State& state) {
    LoggingSocket socket;
    unsigned char byte = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(socket.SendtoWithoutLog(&byte, 42, 5004));
    }
}
BENCHMARK(LogLineSilencedBare);

__attribute__((format(printf, 1, 2))) void Format(const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    vsnprintf(s_Line, sizeof(s_Line), format, arguments);
    va_end(arguments);
}

void LogLinePrintedBare(benchmark::State& state) {
    int length = 42;
    for (auto _ : state) {
        benchmark::DoNotOptimize(length);
        Format("%s: RTT TX: len:%d port=%d", "LoggingSocket::Sendto()", length, 5004);
        benchmark::DoNotOptimize(s_Line);
    }
}
BENCHMARK(LogLinePrintedBare);

} // namespace
