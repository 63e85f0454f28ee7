// Tells whether the calling thread is inside the host's event handler. An operation that would wait for that very call
// to return asks here first and refuses.
#ifndef UTIL_EVENT_SCOPE_H
#define UTIL_EVENT_SCOPE_H

// Stands on the stack of the engine thread that calls the handler, for the time of that call. Confined to its thread.
class EventScope {
public:
    EventScope(int channel, int event);
    ~EventScope();
    EventScope(const EventScope&) = delete;
    EventScope& operator=(const EventScope&) = delete;

    // The event id the calling thread is inside of; 0 outside any.
    static int CurrentEvent();
    // The channel of that event; -1 outside any.
    static int CurrentChannel();
};

#endif
