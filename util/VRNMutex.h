// The engine's locks: thin wrappers over the POSIX ones that clang's thread-safety analysis understands. Raw lock and
// unlock calls appear here alone. The order in which locks are taken is in docs/architecture.md.
#ifndef UTIL_VRN_MUTEX_H
#define UTIL_VRN_MUTEX_H

#include "util/ThreadAnnotations.h"

#include <pthread.h>

// A mutex with default attributes. Thread-safe.
class VRN_CAPABILITY("mutex") VRNMutex {
public:
    VRNMutex() { pthread_mutex_init(&m_Mutex, nullptr); }
    ~VRNMutex() { pthread_mutex_destroy(&m_Mutex); }
    VRNMutex(const VRNMutex&) = delete;
    VRNMutex& operator=(const VRNMutex&) = delete;

    void Lock() VRN_ACQUIRE() { pthread_mutex_lock(&m_Mutex); }
    bool TryLock() VRN_TRY_ACQUIRE(true) { return pthread_mutex_trylock(&m_Mutex) == 0; }
    void Unlock() VRN_RELEASE() { pthread_mutex_unlock(&m_Mutex); }

private:
    friend class VRNCondition;
    pthread_mutex_t m_Mutex{};
};

// A mutex that its holder may take again, and may keep to itself without holding it: while it calls code of the host's,
// which comes back by other locks. Thread-safe.
class VRN_CAPABILITY("mutex") VRNRecursiveMutex {
public:
    VRNRecursiveMutex() {
        pthread_mutexattr_t attributes;
        pthread_mutexattr_init(&attributes);
        pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE);
        pthread_mutex_init(&m_Mutex, &attributes);
        pthread_mutexattr_destroy(&attributes);
        pthread_cond_init(&m_Released, nullptr);
    }
    ~VRNRecursiveMutex() {
        pthread_cond_destroy(&m_Released);
        pthread_mutex_destroy(&m_Mutex);
    }
    VRNRecursiveMutex(const VRNRecursiveMutex&) = delete;
    VRNRecursiveMutex& operator=(const VRNRecursiveMutex&) = delete;

    void Lock() VRN_ACQUIRE() {
        pthread_mutex_lock(&m_Mutex);
        while (m_bReserved && pthread_equal(m_Owner, pthread_self()) == 0) {
            pthread_cond_wait(&m_Released, &m_Mutex);
        }
    }
    void Unlock() VRN_RELEASE() { pthread_mutex_unlock(&m_Mutex); }

    // From here to Release only the calling thread can take the mutex, whether it holds it or not. Not nested.
    void Reserve() VRN_REQUIRES(this) {
        m_bReserved = true;
        m_Owner = pthread_self();
    }
    void Release() VRN_EXCLUDES(this) {
        pthread_mutex_lock(&m_Mutex);
        m_bReserved = false;
        pthread_cond_broadcast(&m_Released);
        pthread_mutex_unlock(&m_Mutex);
    }

private:
    pthread_mutex_t m_Mutex{};
    pthread_cond_t m_Released{};
    bool m_bReserved = false;
    pthread_t m_Owner{}; // while reserved
};

// Holds a lock for a scope.
template <class Mutex> class VRN_SCOPED_CAPABILITY VRNScopedLock {
public:
    explicit VRNScopedLock(Mutex& mutex) VRN_ACQUIRE(mutex) : m_Mutex(mutex) { m_Mutex.Lock(); }
    ~VRNScopedLock() VRN_RELEASE() { m_Mutex.Unlock(); }
    VRNScopedLock(const VRNScopedLock&) = delete;
    VRNScopedLock& operator=(const VRNScopedLock&) = delete;

private:
    Mutex& m_Mutex;
};

using VRNLock = VRNScopedLock<VRNMutex>;
using VRNRecursiveLock = VRNScopedLock<VRNRecursiveMutex>;

// A condition variable. Waits can end without a signal: callers test their condition in a loop. Thread-safe.
class VRNCondition {
public:
    VRNCondition() { pthread_cond_init(&m_Cond, nullptr); }
    ~VRNCondition() { pthread_cond_destroy(&m_Cond); }
    VRNCondition(const VRNCondition&) = delete;
    VRNCondition& operator=(const VRNCondition&) = delete;

    void Wait(VRNMutex& mutex) VRN_REQUIRES(mutex) { pthread_cond_wait(&m_Cond, &mutex.m_Mutex); }
    void Signal() { pthread_cond_signal(&m_Cond); }
    void Broadcast() { pthread_cond_broadcast(&m_Cond); }

private:
    pthread_cond_t m_Cond{};
};

#endif
