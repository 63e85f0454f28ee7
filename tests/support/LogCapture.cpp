#include "tests/support/LogCapture.h"

#include <android/log.h>

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <mutex>
#include <thread>

namespace {

struct Line {
    std::thread::id thread;
    std::string text;
};

std::mutex s_Mutex;
bool s_bCapturing = false;
std::vector<Line> s_Lines;

template <typename Wanted> std::vector<std::string> Select(Wanted wanted) {
    std::lock_guard<std::mutex> lock(s_Mutex);
    std::vector<std::string> texts;
    for (const Line& line : s_Lines) {
        if (wanted(line)) {
            texts.push_back(line.text);
        }
    }
    return texts;
}

} // namespace

extern "C" __attribute__((visibility("default"))) int __android_log_print(int, const char*, const char* fmt, ...) {
    char text[4096];
    va_list args;
    va_start(args, fmt);
    const int length = vsnprintf(text, sizeof(text), fmt, args);
    va_end(args);
    std::lock_guard<std::mutex> lock(s_Mutex);
    if (s_bCapturing) {
        s_Lines.push_back({std::this_thread::get_id(), text});
    }
    errno = EAGAIN; // as on older releases of the platform, whose log may change it
    return length;
}

LogCapture::LogCapture() {
    std::lock_guard<std::mutex> lock(s_Mutex);
    s_bCapturing = true;
    s_Lines.clear();
}

LogCapture::~LogCapture() {
    std::lock_guard<std::mutex> lock(s_Mutex);
    s_bCapturing = false;
    s_Lines.clear();
}

std::vector<std::string> LogCapture::Lines() const {
    return Select([](const Line&) { return true; });
}

std::vector<std::string> LogCapture::OwnLines() const {
    return Select([](const Line& line) { return line.thread == std::this_thread::get_id(); });
}

void LogCapture::Clear() {
    std::lock_guard<std::mutex> lock(s_Mutex);
    s_Lines.clear();
}

bool LogCapture::Has(const std::string& text) const {
    return Count(text) > 0;
}

size_t LogCapture::Count(const std::string& text) const {
    return Select([&text](const Line& line) { return line.text.find(text) != std::string::npos; }).size();
}
