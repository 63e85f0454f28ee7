// Starting and joining the engine's threads: the one place that does, so that a simulation which runs their steps itself
// links another.
#ifndef UTIL_THREAD_START_H
#define UTIL_THREAD_START_H

#include <pthread.h>

// As pthread_create: 0, or the platform's error number. Null attributes are the default ones.
int VRNStartThread(pthread_t* thread, const pthread_attr_t* attributes, void* (*entry)(void*), void* argument);

// As pthread_join, without the thread's result: 0, or the platform's error number. Once for each thread started.
int VRNJoinThread(pthread_t thread);

#endif
