// The engine's threads as a simulation wants them: none runs until it is joined, and then to its end on the joining
// thread. Their steps are the simulation's to call. Linked in place of util/ThreadStart.cpp.

#include "util/ThreadStart.h"

#include <map>

namespace {

struct Deferred {
    void* (*entry)(void*);
    void* argument;
};

std::map<pthread_t, Deferred> s_Threads;
pthread_t s_Next = 1;

} // namespace

int VRNStartThread(pthread_t* thread, const pthread_attr_t*, void* (*entry)(void*), void* argument) {
    *thread = s_Next++;
    s_Threads[*thread] = {entry, argument};
    return 0;
}

int VRNJoinThread(pthread_t thread) {
    const Deferred deferred = s_Threads.at(thread);
    s_Threads.erase(thread);
    deferred.entry(deferred.argument);
    return 0;
}
