// Signals as a descriptor that a poll loop waits on, so that no work is done in a handler.
#ifndef TOOLS_COMMON_SIGNAL_FD_H
#define TOOLS_COMMON_SIGNAL_FD_H

#include <initializer_list>

// Create it before any thread is started: every thread inherits the mask that keeps the signals for the descriptor.
class SignalFd {
public:
    SignalFd(std::initializer_list<int> signals);
    ~SignalFd();
    SignalFd(const SignalFd&) = delete;
    SignalFd& operator=(const SignalFd&) = delete;

    // Readable once a signal came, until it is drained.
    int Fd() const { return m_nFd; }
    void Drain() const;

private:
    int m_nFd;
};

#endif
