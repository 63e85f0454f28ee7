// A wish to stop (SIGINT, SIGTERM) as a descriptor that a poll loop waits on, so that no work is done in a handler.
#ifndef TOOLS_COMMON_STOP_SIGNAL_H
#define TOOLS_COMMON_STOP_SIGNAL_H

// Create it before any thread is started: every thread inherits the mask that keeps the signals for the descriptor.
class StopSignal {
public:
    StopSignal();
    ~StopSignal();
    StopSignal(const StopSignal&) = delete;
    StopSignal& operator=(const StopSignal&) = delete;

    // Readable once a signal came. Never read here, so it stays readable.
    int Fd() const { return m_nFd; }

private:
    int m_nFd;
};

#endif
