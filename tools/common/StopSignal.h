// A wish to stop (SIGINT, SIGTERM).
#ifndef TOOLS_COMMON_STOP_SIGNAL_H
#define TOOLS_COMMON_STOP_SIGNAL_H

#include "common/SignalFd.h"

#include <csignal>

// Nobody drains it, so its descriptor stays readable.
class StopSignal : public SignalFd {
public:
    StopSignal() : SignalFd({SIGINT, SIGTERM}) {}
};

#endif
