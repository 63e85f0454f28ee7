#include "util/EventScope.h"

namespace {
constexpr int NO_EVENT = 0;
constexpr int NO_CHANNEL = -1;
thread_local int t_nEvent = NO_EVENT;
thread_local int t_nChannel = NO_CHANNEL;
} // namespace

EventScope::EventScope(int channel, int event) {
    t_nEvent = event;
    t_nChannel = channel;
}

EventScope::~EventScope() {
    t_nEvent = NO_EVENT;
    t_nChannel = NO_CHANNEL;
}

int EventScope::CurrentEvent() {
    return t_nEvent;
}

int EventScope::CurrentChannel() {
    return t_nChannel;
}
