#include "common/TimeLine.h"

#include <cstdio>
#include <cstdlib>
#include <unistd.h>

namespace {

constexpr double MS_PER_SECOND = 1000;
constexpr size_t TIMES_SIZE = 64;
constexpr size_t WHAT_WIDTH = 14;

double Seconds(int64_t ms) {
    return static_cast<double>(ms) / MS_PER_SECOND;
}

} // namespace

bool ColourWanted() {
    return isatty(STDOUT_FILENO) == 1 && getenv("NO_COLOR") == nullptr;
}

std::string Coloured(const char* colour, const std::string& text) {
    return *colour == '\0' ? text : colour + text + "\033[0m";
}

void PrintTimeLine(int64_t fromMs, int64_t untilMs, const std::string& what, const std::string& text) {
    char times[TIMES_SIZE];
    if (untilMs < 0) {
        snprintf(times, sizeof(times), "%7.2f          ", Seconds(fromMs));
    } else {
        snprintf(times, sizeof(times), "%7.2f – %6.2f ", Seconds(fromMs), Seconds(untilMs));
    }
    std::string line = times;
    line += what;
    line.append(what.size() < WHAT_WIDTH ? WHAT_WIDTH - what.size() : 1, ' ');
    line += text + '\n';
    fwrite(line.data(), 1, line.size(), stdout);
    fflush(stdout);
}
