#include "tests/stress/Process.h"

#include "tests/support/WaitUntil.h"

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <execinfo.h>
#include <filesystem>
#include <fstream>
#include <malloc.h>
#include <sys/syscall.h>
#include <unistd.h>

// There under a sanitizer alone: its stacks are whole where the C library's miss frames, and mallinfo2 does not know
// its heap.
extern "C" __attribute__((weak)) void __sanitizer_print_stack_trace();
extern "C" __attribute__((weak)) size_t __sanitizer_get_current_allocated_bytes();

// The thread sanitizer reads files to print a stack, which else it takes for a fault of the signal handler.
extern "C" __attribute__((visibility("default"))) const char* __tsan_default_options();
extern "C" const char* __tsan_default_options() {
    return "report_signal_unsafe=0";
}

namespace {

namespace fs = std::filesystem;

constexpr std::chrono::seconds HANG{60};
constexpr std::chrono::seconds PRINT_LIMIT{2}; // a thread that blocks the signal prints nothing

std::atomic<bool> s_bPrinted{false};

long Median(std::vector<size_t> samples) {
    std::sort(samples.begin(), samples.end());
    return static_cast<long>(samples[samples.size() / 2]);
}

// Runs on the thread it is about: no debugger is needed, and none may be allowed.
void PrintOwnStack(int) {
    if (__sanitizer_print_stack_trace != nullptr) {
        __sanitizer_print_stack_trace();
    } else {
        void* frames[64];
        backtrace_symbols_fd(frames, backtrace(frames, std::size(frames)), STDERR_FILENO);
    }
    s_bPrinted = true;
}

} // namespace

void Check(bool holds, const char* claim) {
    if (!holds) {
        dprintf(STDERR_FILENO, "FAILED: %s\n", claim);
        _exit(1);
    }
}

std::array<long, 3> CountResources() {
    const auto entries = [](const char* path) {
        return std::distance(fs::directory_iterator(path), fs::directory_iterator());
    };
    long timers = 0;
    std::ifstream lines("/proc/self/timers");
    for (std::string line; std::getline(lines, line);) {
        timers += line.rfind("ID:", 0) == 0 ? 1 : 0;
    }
    return {entries("/proc/self/fd"), entries("/proc/self/task"), timers};
}

size_t MemoryInUse() {
    return __sanitizer_get_current_allocated_bytes != nullptr ? __sanitizer_get_current_allocated_bytes()
                                                              : mallinfo2().uordblks;
}

long MemoryTrend(const std::vector<size_t>& samples) {
    const auto quarter = static_cast<long>(samples.size() / 4);
    const auto second = samples.begin() + quarter;
    return quarter == 0 ? 0 : Median({samples.end() - quarter, samples.end()}) - Median({second, second + quarter});
}

void StartWatchdog() {
    void* frame = nullptr;
    backtrace(&frame, 1); // loads what it needs, which a signal handler must not
    signal(SIGUSR2, PrintOwnStack);
    std::thread([] {
        while (WaitUntil([] { return s_bProgress.exchange(false); }, HANG)) {
        }
        // One after the other, or the lines would mix.
        for (const auto& task : fs::directory_iterator("/proc/self/task")) {
            dprintf(STDERR_FILENO, "hangs; thread %s:\n", task.path().filename().c_str());
            syscall(SYS_tgkill, getpid(), std::stoi(task.path().filename()), SIGUSR2);
            WaitUntil([] { return s_bPrinted.exchange(false); }, PRINT_LIMIT);
        }
        abort();
    }).detach();
}
