// A thread that runs one runnable, started and joined by its owner.
#ifndef UTIL_TEXT_THREAD_H
#define UTIL_TEXT_THREAD_H

#include <pthread.h>

class TRunnable {
public:
    virtual ~TRunnable() = default;
    virtual void Run() = 0;
};

// Start and Stop belong to the owner's thread.
class TextThread {
public:
    // Takes the runnable over.
    explicit TextThread(TRunnable* runnable);
    // Stops the thread if it still runs, and deletes the runnable.
    virtual ~TextThread();
    TextThread(const TextThread&) = delete;
    TextThread& operator=(const TextThread&) = delete;

    // Runs the runnable on a new thread. 0; -1 when it runs already; otherwise the platform's error number.
    int Start();

    // Waits until the runnable returns, which its owner has told it to. 0; -1 when not started.
    int Stop();

    // Sends a signal to the thread. 0, or the platform's error number: ESRCH when there is no thread.
    int SendSignal(int sig);

    virtual void Run();

private:
    static void* ThreadMain(void* arg);

    pthread_t m_ThreadId = 0;
    TRunnable* m_pRunnable;
    bool m_bStarted = false;
};

#endif
