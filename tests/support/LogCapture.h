// Takes the engine's log lines instead of the platform: the test program defines __android_log_print itself.
#ifndef TESTS_SUPPORT_LOG_CAPTURE_H
#define TESTS_SUPPORT_LOG_CAPTURE_H

#include <string>
#include <vector>

// Captures while it lives; one at a time. Thread-safe. Without one, lines are dropped.
class LogCapture {
public:
    LogCapture();
    ~LogCapture();
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    // The lines so far, of every thread or of the calling one, in order; and the same without keeping them.
    std::vector<std::string> Lines() const;
    std::vector<std::string> OwnLines() const;
    void Clear();

    // True when a line so far contains the text.
    bool Has(const std::string& text) const;
    size_t Count(const std::string& text) const;
};

#endif
