#include "util/ThreadStart.h"

int VRNStartThread(pthread_t* thread, const pthread_attr_t* attributes, void* (*entry)(void*), void* argument) {
    return pthread_create(thread, attributes, entry, argument);
}

int VRNJoinThread(pthread_t thread) {
    return pthread_join(thread, nullptr);
}
